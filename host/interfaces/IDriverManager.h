// The host's view of all its drivers.
#ifndef HOST_INTERFACES_IDRIVERMANAGER_H
#define HOST_INTERFACES_IDRIVERMANAGER_H

#include <string>
#include <vector>

#include "host/interfaces/Export.h"

class ISupportIntercom;

class DVHOST_API IDriverManager {
public:
    /// Replaces `found` by the live drivers that answer QueryInterface for `interfaceId`, in the
    /// order of the home file. The first argument is reserved and 0. The list is the caller's, the
    /// drivers are not: one may be gone after any call into another, so that a careful caller asks
    /// again before each.
    /// Returns 0; negative when the arguments are not understood (`found` is then empty).
    /// [driver thread]
    virtual long DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                              std::vector<ISupportIntercom*>& found) = 0;

protected:
    ~IDriverManager() = default;
};

#endif
