// What a driver offers that has pages of its own: it learns who reads them.
#ifndef HOST_INTERFACES_IREADERSINK_H
#define HOST_INTERFACES_IREADERSINK_H

#include "host/interfaces/Export.h"

/// Answered by QueryInterface under ReaderSinkInterfaceId, and alive as long as the driver. A reader is one
/// stream of GET /tablets/NAME/events; its number is never used again while the process lasts. What the
/// driver sends to it goes through IInstanceManager::SendDataToReader.
///
/// Calls come between other calls into the driver, never inside one.
class DVHOST_API IReaderSink {
public:
    /// A reader has come; the driver may send to it from now on, also during this call. When it throws the
    /// stream is refused, and the reader is gone without OnReaderClosed.
    /// [driver thread, between Initialize and OnDestroy]
    virtual void OnReaderOpened(unsigned long reader) = 0;

    /// The reader has gone, or was dropped because it did not take what was sent. Called once for each, but
    /// for those that are there when the driver ends: OnDestroy is the end of them all.
    /// [driver thread, between Initialize and OnDestroy]
    virtual void OnReaderClosed(unsigned long reader) = 0;

protected:
    ~IReaderSink() = default;
};

#endif
