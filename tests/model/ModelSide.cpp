#include "tests/model/ModelSide.h"

namespace model {

std::string IdsText(const std::vector<unsigned long>& ids) {
    std::string text = "ids";
    for (const unsigned long id : ids)
        text += " " + std::to_string(id);
    return text;
}

void ModelSide::Start(unsigned long ownId, const Tree* saved) {
    agent_ = std::make_unique<AgentModel>(surroundings_, lines_);
    agent_->Initialize(ownId, saved);
}

void ModelSide::Stop() {
    agent_->OnDestroy();
    agent_->Delete();
    agent_.reset();
}

void ModelSide::Restart(const Step& step) {
    const Tree own = agent_->State();
    Stop();
    surroundings_.address = step.text;
    switch (step.saved) {
        case SavedAs::Nothing:
            return Start(step.id, nullptr);
        case SavedAs::OwnNode:
            return Start(step.id, &own);
        case SavedAs::OwnText: {
            const Tree read = ReadBack(own);
            return Start(step.id, &read);
        }
        case SavedAs::OtherText:
            return Start(step.id, &*step.tree);
    }
}

std::string ModelSide::ReplyText(const Step& step) {
    const AgentModel::Answer answer = agent_->UiCommand(step.message);
    if (!answer.known) return kNoSuchCommand;
    return answer.element ? ToText(*answer.element) : kNoElement;
}

std::string ModelSide::GroupText(int groupId) const {
    std::vector<unsigned long> ids = kIdsBefore;
    agent_->DeviceListByGroup(ids, groupId);
    return IdsText(ids);
}

void ModelSide::Apply(const Step& step) {
    surroundings_.replies.assign(step.replies.begin(), step.replies.end());
    switch (step.kind) {
        case StepKind::UiCommand:
            Answer(ReplyText(step));
            break;
        case StepKind::PlainCommand:
            if (!agent_->PlainCommand(step.message)) Answer(kNoSuchCommand);
            break;
        case StepKind::AddDevice: {
            const bool none = step.slot == kNoDevice;
            Register(step.id, none ? nullptr : &surroundings_.drivers[static_cast<std::size_t>(step.slot)]);
            break;
        }
        case StepKind::AddFound:
            Register(step.id, agent_->Device(step.otherId));
            break;
        case StepKind::RemoveDevice:
            agent_->OnDeviceRemoved(step.id);
            break;
        case StepKind::ChangeDevice:
            agent_->OnDeviceChanged(step.id, step.number);
            break;
        case StepKind::GetGroupList:
            Answer(ToText(agent_->GroupList(step.flag)));
            break;
        case StepKind::GetDeviceList:
            Answer(ToText(agent_->DeviceList()));
            break;
        case StepKind::GetDeviceAOR:
            Answer(agent_->DeviceAOR(step.id));
            break;
        case StepKind::GetContactList:
            Answer(ToText(agent_->ContactList()));
            break;
        case StepKind::AddRecentContact:
            agent_->AddRecentContact(step.call);
            break;
        case StepKind::GetPopupTimeout:
            Answer(std::to_string(agent_->PopupTimeout()));
            break;
        case StepKind::GetDeviceListByGroup:
            Answer(GroupText(step.number));
            break;
        case StepKind::GetIntercomDevice:
            Answer(agent_->Device(step.id) ? agent_->Device(step.id)->label : kNobody);
            break;
        case StepKind::EndOfflineSession:
            agent_->EndOfflineSession(step.text, step.otherText);
            break;
        case StepKind::SystemEvent:
            if (step.number == 8 || step.number == 11 || step.number == 12) {
                agent_->SystemEvent(*step.tree);
            } else {
                Answer(kNobodyListens);
            }
            break;
        case StepKind::QueryInterface:
            Answer(step.flag ? "the agent" : kNobody);
            break;
        case StepKind::ChangeFacts:
            surroundings_.drivers[static_cast<std::size_t>(step.slot)] = step.facts;
            break;
        case StepKind::Restart:
            Restart(step);
            break;
    }
    surroundings_.replies.clear();
}

}  // namespace model
