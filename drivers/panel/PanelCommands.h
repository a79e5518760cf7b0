// The UI commands of a panel: look at what the agent did with it, and make it do what a device of
// flesh and blood would do.
#ifndef DRIVERS_PANEL_PANELCOMMANDS_H
#define DRIVERS_PANEL_PANELCOMMANDS_H

#include "host/glue/CmdDispatchers.h"

class IIntercomAgent;
class Panel;

/// Commands that act answer "success"; wrong parameters, and an agent that is needed and not
/// there, answer "fail" with the reason.
class PanelCommands {
public:
    explicit PanelCommands(Panel& panel) : panel_(panel) {}

    /// Binds every command. The dispatcher must not outlive this object's panel.
    void Register(UICmdDispatcher& dispatcher);

private:
    using Reply = dv::auto_com<DvXML::INode>;
    using Handler = Reply (PanelCommands::*)(const ICmdMessage&);
    using Question = Reply (*)(IIntercomAgent&, const ICmdMessage&);

    struct Row {
        const char* name;
        Handler handler;
        const char* help;
    };
    struct QuestionRow {
        const char* operation;
        Question ask;
    };
    static const Row kCommands[];
    static const QuestionRow kQuestions[];

    Reply OnReqGetOperations(const ICmdMessage& message);
    Reply OnReqClearOperations(const ICmdMessage& message);
    Reply OnReqSetProperty(const ICmdMessage& message);
    Reply OnReqOpenSession(const ICmdMessage& message);
    Reply OnReqCloseSession(const ICmdMessage& message);
    Reply OnReqAddToAgent(const ICmdMessage& message);
    Reply OnReqRemoveFromAgent(const ICmdMessage& message);
    Reply OnReqNotifyChanged(const ICmdMessage& message);
    Reply OnReqReportCall(const ICmdMessage& message);
    Reply OnReqEndOfflineSession(const ICmdMessage& message);
    Reply OnReqAskAgent(const ICmdMessage& message);

    IIntercomAgent& Agent() const;
    unsigned long IdOr(const ICmdMessage& message, unsigned long otherwise) const;

    Panel& panel_;
};

#endif
