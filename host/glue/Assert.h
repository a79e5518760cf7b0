// Reports of broken invariants. They are logged, never fatal: a home goes on ringing.
#ifndef HOST_GLUE_ASSERT_H
#define HOST_GLUE_ASSERT_H

#include <boost/function.hpp>
#include <string>

#include "host/interfaces/Export.h"

namespace dv {

/// The calls that led here, captured at construction.
class DVHOST_API StackTrace {
public:
    StackTrace();
    /// One frame a line, innermost first.
    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

/// Receives file and line of every report, before it is logged.
using AssertObserver = boost::function<void(const char* file, int line)>;

/// Sets the observer (tests count reports with it); an empty one takes it away.
DVHOST_API void SetAssertObserver(AssertObserver observer);

/// Logs "assertion failed at FILE:LINE" and the trace at level 3. [any thread]
DVHOST_API void AssertWrite(const char* file, int line, const StackTrace& trace);

}  // namespace dv

#endif
