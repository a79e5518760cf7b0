#include "tests/model/Generator.h"

#include <iterator>
#include <numeric>

#include "tests/model/Pools.h"
#include "tests/model/Render.h"

namespace model {
namespace {

constexpr std::size_t kDrivers = 9;
constexpr int kShortestMood = 60;
constexpr int kMoodSpread = 400;
constexpr unsigned int kCrowd = 500;

struct KindWeight {
    StepKind kind;
    unsigned int weight;
};

constexpr KindWeight kKinds[] = {{StepKind::UiCommand, 560},
                                 {StepKind::PlainCommand, 110},
                                 {StepKind::AddDevice, 60},
                                 {StepKind::AddFound, 8},
                                 {StepKind::RemoveDevice, 45},
                                 {StepKind::ChangeDevice, 30},
                                 {StepKind::GetGroupList, 5},
                                 {StepKind::GetDeviceList, 8},
                                 {StepKind::GetDeviceAOR, 10},
                                 {StepKind::GetContactList, 4},
                                 {StepKind::AddRecentContact, 40},
                                 {StepKind::GetPopupTimeout, 3},
                                 {StepKind::GetDeviceListByGroup, 8},
                                 {StepKind::GetIntercomDevice, 8},
                                 {StepKind::EndOfflineSession, 40},
                                 {StepKind::SystemEvent, 50},
                                 {StepKind::QueryInterface, 3},
                                 {StepKind::ChangeFacts, 30},
                                 {StepKind::Restart, 5}};

const std::vector<SysmanReply> kReplies = {
    std::nullopt, "",        "Enable OK\n", "KILL\nenable\n", "disabled at last",
    " enable\n",  "enabl\n", "\nenable\n",  "kill",           std::string(150, 'k') + "ill\n"};

std::vector<std::string> Joined(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The position at which `point` falls when the weights are laid end to end.
template <class Weights>
std::size_t Fallen(std::size_t point, const Weights& weights) {
    std::size_t position = 0;
    while (point >= weights[position])
        point -= weights[position++];
    return position;
}

}  // namespace

Generator::Generator(std::uint64_t seed)
    : dice_(seed), carried_(pools::kCarried), anything_(Joined(pools::kCarried, pools::kNotCarried)) {
    for (std::size_t slot = 0; slot < kDrivers; slot++)
        start_.drivers.push_back(Facts(slot));
    start_.address = dice_.Pick(pools::kAddresses);
}

Step Generator::Next(const ModelSide& side) {
    side_ = &side;
    if (moodLeft_-- <= 0) ChangeMood();
    Step step(NextKind());
    FillStep(step);
    AddReplies(step);
    return step;
}

void Generator::ChangeMood() {
    static const std::vector<unsigned int> factors = {1, 4, 4, 4, 20};
    moodLeft_ = kShortestMood + static_cast<int>(dice_.Below(kMoodSpread));
    kindWeights_.clear();
    const bool rushHour = dice_.Percent(35);  // fills the list of recent calls
    for (const KindWeight& kind : kKinds) {
        const bool call = kind.kind == StepKind::AddRecentContact;
        kindWeights_.push_back(kind.weight * (call && rushHour ? kCrowd : dice_.Pick(factors)));
    }
    kindWeights_.back() = kKinds[std::size(kKinds) - 1].weight * 10;  // restarts do not come in crowds
    for (const auto& [command, rules] : CommandRules())
        commandWeights_[command] = dice_.Pick(factors);
}

StepKind Generator::NextKind() {
    const std::size_t all = std::accumulate(kindWeights_.begin(), kindWeights_.end(), 0U);
    return kKinds[Fallen(dice_.Below(all), kindWeights_)].kind;
}

std::string Generator::NextCommand(const std::vector<std::string>& names,
                                   const std::vector<std::string>& unknown) {
    if (dice_.Percent(1)) return dice_.Pick(unknown);
    std::vector<unsigned int> weights;
    for (const std::string& name : names)
        weights.push_back(commandWeights_.at(name));
    const std::size_t all = std::accumulate(weights.begin(), weights.end(), 0U);
    return names[Fallen(dice_.Below(all), weights)];
}

void Generator::FillStep(Step& step) {
    step.id = DeviceId();
    switch (step.kind) {
        case StepKind::UiCommand:
            return FillMessage(step, NextCommand(AgentModel::UiCommandNames(), pools::kUnknownUi));
        case StepKind::PlainCommand:
            return FillMessage(step, NextCommand(AgentModel::PlainCommandNames(), pools::kUnknownPlain));
        case StepKind::AddDevice: {
            const std::size_t slot = dice_.Below(kDrivers);
            step.slot = dice_.Percent(5) ? kNoDevice : static_cast<int>(slot);
            if (dice_.Percent(80)) step.id = side_->Around().drivers[slot].id;
            return;
        }
        case StepKind::AddFound:
            step.otherId = DeviceId();
            return;
        case StepKind::ChangeDevice:
            step.number = static_cast<int>(dice_.Below(13)) - 1;
            return;
        case StepKind::GetGroupList:
            step.flag = dice_.Coin();
            return;
        case StepKind::AddRecentContact:
            return FillCall(step);
        case StepKind::GetDeviceListByGroup:
            step.number = GroupId();
            return;
        case StepKind::EndOfflineSession: {
            static const std::vector<std::string> remotes = {"", "down", "Down"};
            step.text = DeviceKey();
            step.otherText = dice_.Coin() ? dice_.Pick(remotes) : DeviceKey();
            return;
        }
        case StepKind::SystemEvent:
            return FillEvent(step);
        case StepKind::QueryInterface:
            step.text = dice_.Pick(pools::kInterfaces);
            step.flag = step.text == pools::kInterfaces.front();
            return;
        case StepKind::ChangeFacts:
            return FillFacts(step);
        case StepKind::Restart:
            return FillRestart(step);
        case StepKind::RemoveDevice:
        case StepKind::GetDeviceList:
        case StepKind::GetDeviceAOR:
        case StepKind::GetContactList:
        case StepKind::GetPopupTimeout:
        case StepKind::GetIntercomDevice:
            return;
    }
}

void Generator::FillRestart(Step& step) {
    static const std::vector<SavedAs> ways = {SavedAs::Nothing, SavedAs::OwnText,   SavedAs::OwnText,
                                              SavedAs::OwnNode, SavedAs::OtherText, SavedAs::OtherText};
    step.id = dice_.Pick(pools::kAgentIds);
    step.text = dice_.Pick(pools::kAddresses);
    step.saved = dice_.Pick(ways);
    if (step.saved != SavedAs::OtherText) return;
    step.tree = ReadBack(SavedState());
    step.treeText = Render(*step.tree, dice_);
}

void Generator::FillEvent(Step& step) {
    static const std::vector<int> classes = {11, 8, 12, 11, 8, 12, 11, 8, 12, 7};
    step.number = dice_.Pick(classes);
    Tree event("event");
    const std::string item = DeviceIdText();
    const auto addParameter = [&](const std::string& name, const std::string& value) {
        event.Add(Tree(dice_.Percent(90) ? "param" : "name", value).Add("name", name));
    };
    if (dice_.Percent(20)) addParameter("other", DeviceIdText());
    const std::string name = dice_.Pick(pools::kEventNames);
    if (dice_.Coin()) event.Add("name", name);
    if (dice_.Percent(5)) addParameter("iditem", DeviceIdText());
    if (dice_.Percent(95)) addParameter("iditem", item);
    if (dice_.Percent(70)) addParameter("idroom", dice_.Coin() ? item : DeviceIdText());
    if (!event.Find("name")) event.Add("name", name);
    step.tree = event;
}

void Generator::FillCall(Step& step) {
    step.call = {0, Text(), DeviceKey(), Text(), Text(), dice_.Coin(), dice_.Coin()};
}

void Generator::FillFacts(Step& step) {
    const std::size_t slot = dice_.Below(kDrivers);
    step.slot = static_cast<int>(slot);
    const DeviceFacts before = side_->Around().drivers[slot];
    step.facts = Facts(slot);
    if (dice_.Percent(90)) step.facts.id = before.id;
    if (dice_.Coin()) step.facts.version = before.version;
    if (dice_.Coin()) step.facts.key = before.key;
}

void Generator::FillMessage(Step& step, const std::string& command) {
    step.message = Message(command);
    const auto rules = CommandRules().find(command);
    if (rules != CommandRules().end()) {
        for (const ParameterRule& rule : rules->second) {
            if (!dice_.Percent(rule.absent)) step.message.parameters.push_back(Filled(rule));
            if (dice_.Percent(2)) step.message.parameters.push_back(Filled(rule));
        }
    }
    if (dice_.Percent(3)) step.message.Add("more", Text());
}

/// Mostly the system manager answers as it should.
void Generator::AddReplies(Step& step) {
    if (!dice_.Percent(15)) return;
    for (std::size_t count = 1 + dice_.Below(4); count > 0; count--)
        step.replies.push_back(dice_.Pick(kReplies));
}

}  // namespace model
