// The settings of a panel, and the one table that reads and changes them by name.
#ifndef DRIVERS_PANEL_PANELCONFIG_H
#define DRIVERS_PANEL_PANELCONFIG_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/interfaces/DvXML.h"
#include "host/interfaces/dvIntercom.h"

struct PanelConfig {
    std::string key;
    std::string name;
    int version = 2;
    bool doorStation = false;
    bool thirdParty = false;
    bool camera = false;
    bool display = false;
    bool answerWithVideo = false;
    bool dnd = false;
    bool autoAnswer = false;
    bool monitorMode = false;
    bool excludeFromNav = false;
    bool ringDoorbell = false;
    unsigned short speakerVolume = 0;
    int currentState = 0;
    bool registerAtStart = true;
    bool answerRequests = true;
    bool simulateCalls = true;

    /// The answer to GET_CUSTOM_BUTTON; null when the home file gives none.
    dv::auto_com<DvXML::INode> buttons;

    /// One setting: the element that holds it, where it is kept, and the event that its change raises.
    struct Row {
        const char* name;
        std::variant<std::string PanelConfig::*, bool PanelConfig::*, int PanelConfig::*,
                     unsigned short PanelConfig::*>
            member;
        /// Which property of a device it is; none for what stays as the home file says.
        std::optional<dvIntercom::DeviceProps> property = std::nullopt;
    };
    static const std::vector<Row>& Rows();

    /// Null when no setting has that name ("buttons" is none of them).
    static const Row* FindRow(std::string_view name);

    /// The names of all settings, for messages to people.
    static std::string Names();

    /// Takes what `config` says; an absent child keeps its default. Each fault is told to `report`
    /// as one line: an element that means nothing, a value that is not of its kind. Such a value is
    /// taken as dv::ParseBool or dv::ParseInt read it.
    void Read(const DvXML::INode& config, const std::function<void(const std::string&)>& report);

    /// Stores the value if the text is of the row's kind. What is wrong with it; empty when stored.
    std::string Change(const Row& row, const std::string& text);
};

#endif
