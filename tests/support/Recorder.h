// One sequence of text lines of everything that the tested code does to the outside, in order.
//
// Every fake writes into the same recorder, so a test can expect the whole sequence:
//
//     EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>1</id></GroupAdded>"));
//
// The lines, by their first word:
//
//     ui XML                      an element for user interfaces
//     mark                        the state was marked stale
//     log LEVEL TEXT              a log line
//     sysman REQUEST sipproxy     the command line given to the system manager
//     device LABEL OPERATION ...  an operation on a fake device, with its arguments
//     register ID, unregister ID  an interface published or withdrawn
//     listen CLASS NUMBER, unlisten CLASS NUMBER
//     find NUMBER ID              the driver manager was asked for drivers
//     post                        work was posted to the driver thread
//     withdraw all                the driver base withdrew what was left
//
// A test can also act in the middle of the sequence, for instance remove a device from inside
// an operation on it: see Next and Every.
#ifndef TESTS_SUPPORT_RECORDER_H
#define TESTS_SUPPORT_RECORDER_H

#include <boost/function.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace test {

class Recorder {
public:
    using Action = boost::function<void()>;

    /// Records a line, then runs the actions set for it. What an action throws passes through.
    void Note(const std::string& line);

    /// The same for a mere query, which is recorded only if the test wants to see it (Show).
    void NoteQuery(const std::string& line);

    /// From now on queries that begin with `prefix` are recorded too.
    void Show(std::string prefix) { shown_.push_back(std::move(prefix)); }

    /// Runs the action right after the next line that begins with `prefix`; once.
    void Next(std::string prefix, Action action) { actions_.push_back({std::move(prefix), true, action}); }
    /// The same after each such line.
    void Every(std::string prefix, Action action) { actions_.push_back({std::move(prefix), false, action}); }
    void ForgetActions() { actions_.clear(); }

    /// All lines since the last Take; begins anew.
    std::vector<std::string> Take();
    /// The same, of which only those that begin with `prefix` are returned.
    std::vector<std::string> Take(std::string_view prefix);

private:
    struct Entry {
        std::string prefix;
        bool once;
        Action action;
    };

    void RunActions(const std::string& line);

    std::vector<std::string> lines_;
    std::vector<std::string> shown_;
    std::vector<Entry> actions_;
};

}  // namespace test

#endif
