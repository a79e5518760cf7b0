// The settings of a panel, and the table that reads and changes them by name.
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

    /// One setting: its name, which is that of its element, and its member.
    struct Row {
        const char* name;
        std::variant<std::string PanelConfig::*, bool PanelConfig::*, int PanelConfig::*,
                     unsigned short PanelConfig::*>
            member;
        /// The property of a device that it is, and that is reported when it changes; none for a
        /// setting that only the home file and setProperty change.
        std::optional<dvIntercom::DeviceProps> property = std::nullopt;
    };
    static const std::vector<Row>& Rows();

    /// Null when no setting has that name ("buttons" is not one of them).
    static const Row* FindRow(std::string_view name);

    /// The names of all settings, for messages to people.
    static std::string Names();

    /// Takes the settings from `config`; one that is absent keeps its default. `report` gets a line for
    /// each fault: an unknown or repeated element, or a value of the wrong kind, which is then read by
    /// dv::ParseBool or dv::ParseInt.
    void Read(const DvXML::INode& config, const std::function<void(const std::string&)>& report);

    /// Stores the value if the text is of the right kind. Returns what is wrong with it; empty when it
    /// was stored.
    std::string Change(const Row& row, const std::string& text);
};

#endif
