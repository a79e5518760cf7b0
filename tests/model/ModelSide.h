// The model, driven by the steps of a run.
#ifndef TESTS_MODEL_MODELSIDE_H
#define TESTS_MODEL_MODELSIDE_H

#include <memory>
#include <string>
#include <vector>

#include "tests/model/AgentModel.h"
#include "tests/model/Step.h"

namespace model {

class ModelSide {
public:
    explicit ModelSide(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

    /// Makes and initialises the agent.
    void Start(unsigned long ownId, const Tree* saved);
    void Stop();
    void Apply(const Step& step);

    const AgentModel& Agent() const { return *agent_; }
    const Surroundings& Around() const { return surroundings_; }
    /// What happened since the last call.
    std::vector<std::string> Take() { return std::exchange(lines_, {}); }

private:
    void Answer(const std::string& text) { lines_.push_back("answer " + text); }
    void Restart(const Step& step);
    void Register(unsigned long id, const DeviceFacts* device) { agent_->AddIntercomDevice(id, device); }
    std::string ReplyText(const Step& step);
    std::string GroupText(int groupId) const;

    Surroundings surroundings_;
    std::vector<std::string> lines_;
    std::unique_ptr<AgentModel> agent_;
};

/// Ids as one text.
std::string IdsText(const std::vector<unsigned long>& ids);

// The words of both sides' answers.
inline constexpr char kNoSuchCommand[] = "no such command";
inline constexpr char kNoElement[] = "no element";
inline constexpr char kNobody[] = "nobody";
inline constexpr char kNobodyListens[] = "nobody listens";

/// What an id list holds before the agent is asked to fill it.
inline const std::vector<unsigned long> kIdsBefore = {4, 4, 2};

}  // namespace model

#endif
