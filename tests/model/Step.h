// One thing that is done to both agents. A step is plain data: a run can be told, cut short and
// done again.
#ifndef TESTS_MODEL_STEP_H
#define TESTS_MODEL_STEP_H

#include <optional>
#include <string>
#include <vector>

#include "tests/model/AgentModel.h"
#include "tests/model/Message.h"
#include "tests/model/Surroundings.h"
#include "tests/model/Tree.h"

namespace model {

enum class StepKind {
    UiCommand,
    PlainCommand,
    AddDevice,  // driver `slot`, or none, under `id`
    AddFound,   // whatever is registered under `otherId`, once more under `id`
    RemoveDevice,
    ChangeDevice,  // property `number` of `id`
    GetGroupList,
    GetDeviceList,
    GetDeviceAOR,
    GetContactList,
    AddRecentContact,
    GetPopupTimeout,
    GetDeviceListByGroup,
    GetIntercomDevice,
    EndOfflineSession,
    SystemEvent,
    QueryInterface,
    ChangeFacts,  // driver `slot` becomes `facts`, silently
    Restart
};

/// What a restarted agent is given.
enum class SavedAs { Nothing, OwnText, OwnNode, OtherText };

constexpr int kNoDevice = -1;

struct Step {
    explicit Step(StepKind stepKind) : kind(stepKind) {}

    StepKind kind;
    Message message{""};
    unsigned long id = 0;  // a device; for Restart the agent's own
    unsigned long otherId = 0;
    int number = 0;
    int slot = kNoDevice;
    bool flag = false;
    std::string text;  // a key, an interface id, an address
    std::string otherText;
    AgentModel::Recent call;
    std::optional<Tree> tree;  // an event, a saved state
    std::string treeText;
    SavedAs saved = SavedAs::Nothing;
    DeviceFacts facts;
    std::vector<SysmanReply> replies;  // of the system manager, during this step
};

/// The step's kind, with the command's name where it is one.
std::string KindText(const Step& step);

/// The whole step for a reader, on one line.
std::string StepText(const Step& step);

/// `text` in brackets, with what is not plain ASCII as \xNN.
std::string Quoted(const std::string& text);

}  // namespace model

#endif
