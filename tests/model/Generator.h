// Chooses the steps of a run: looks at the model, so that unknown and known things are met in
// good measure, and changes its mood now and then, so that every stretch of a run is about
// something else.
#ifndef TESTS_MODEL_GENERATOR_H
#define TESTS_MODEL_GENERATOR_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/model/Dice.h"
#include "tests/model/ModelSide.h"
#include "tests/model/Step.h"

namespace model {

class Generator {
public:
    explicit Generator(std::uint64_t seed);

    /// What the run begins with.
    const Surroundings& Start() const { return start_; }
    Step Next(const ModelSide& side);

private:
    /// What a parameter is filled with.
    enum class Fill {
        GroupName,
        GroupId,
        Ids,
        DeviceId,
        Index,
        Number,
        Text,
        DeviceKey,
        EntityKey,
        ContactId,
        RecentId,
        Phones,
        Address
    };
    struct ParameterRule {
        const char* name;
        Fill fill;
        unsigned int absent = 3;  // percent
    };
    using Rules = std::map<std::string, std::vector<ParameterRule>>;

    static const Rules& CommandRules();

    // Moods.
    void ChangeMood();
    StepKind NextKind();
    std::string NextCommand(const std::vector<std::string>& names, const std::vector<std::string>& unknown);

    // Steps.
    void FillStep(Step& step);
    void FillRestart(Step& step);
    void FillEvent(Step& step);
    void FillCall(Step& step);
    void FillFacts(Step& step);
    void FillMessage(Step& step, const std::string& command);
    void AddReplies(Step& step);
    Parameter Filled(const ParameterRule& rule);

    // Values.
    std::string Text();
    std::string Carried() { return dice_.Pick(carried_); }
    unsigned long DeviceId();
    std::string DeviceIdText();
    std::string DeviceKey();
    std::string NumberText();
    int GroupId();
    std::string SmallNumber(int existing, bool any);
    Parameter Document(const std::string& name, const Tree& tree);
    Tree IdList(const std::string& name);
    Tree PhoneList(const std::string& name);
    DeviceFacts Facts(std::size_t slot);
    void ChangeFlags(DeviceFacts& facts);
    Reaction SomeReaction();

    // Saved states that no agent wrote.
    Tree SavedState();
    Tree SavedOrder();
    Tree SavedGroup();
    Tree SavedContact();
    Tree SavedRecord(const std::vector<ParameterRule>& fields);
    void AddList(Tree& state, const std::string& name, std::vector<Tree> records);

    const AgentModel& Agent() const { return side_->Agent(); }

    Dice dice_;
    std::vector<std::string> carried_;
    std::vector<std::string> anything_;
    Surroundings start_;
    const ModelSide* side_ = nullptr;  // of the current Next
    std::vector<unsigned int> kindWeights_;
    std::map<std::string, unsigned int> commandWeights_;
    int moodLeft_ = 0;
};

}  // namespace model

#endif
