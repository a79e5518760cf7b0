// The open pages of a tablet. A page is known by the number of its reader, which is the stream that it
// follows; it is there from its tabletHello on.
#ifndef DRIVERS_TABLET_PAGES_H
#define DRIVERS_TABLET_PAGES_H

#include <chrono>
#include <map>
#include <optional>
#include <vector>

#include "host/interfaces/DvXML.h"

class IInstanceManager;

/// All operations: [driver thread]
class Pages {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Whose stream has broken is there for `grace` longer: it may only have changed its network. The manager
    /// outlives the pages.
    Pages(IInstanceManager& instanceManager, std::chrono::milliseconds grace)
        : instanceManager_(instanceManager), grace_(grace) {}

    void Open(unsigned long reader) { pages_[reader] = Page(); }
    void Close(unsigned long reader, Time now);
    /// It says hello. False when it has no stream.
    bool Greet(unsigned long reader);
    /// It says that it goes. False when it was not there.
    bool Leave(unsigned long reader);
    /// Those whose grace is over; they are not there any more.
    std::vector<unsigned long> TakeGone(Time now);
    /// When TakeGone has something next.
    std::optional<Time> NextTime() const;

    bool IsThere(unsigned long reader) const;
    bool IsAnybodyThere() const;
    /// The readers of those that are there.
    std::vector<unsigned long> All() const;

    /// False when its stream has broken; then it was not sent.
    bool Send(unsigned long reader, const DvXML::INode& element);
    /// To all that are there.
    void SendAll(const DvXML::INode& element);

private:
    struct Page {
        bool greeted = false;
        std::optional<Time> gone = {};  // when its grace is over
    };

    IInstanceManager& instanceManager_;
    const std::chrono::milliseconds grace_;
    std::map<unsigned long, Page> pages_;  // by reader
};

#endif
