// What the command line and the environment ask for.
#ifndef CLIENT_OPTIONS_H
#define CLIENT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "client/Url.h"

struct Options {
    /// Throws WrongUse.
    static Options Read(int argc, const char* const* argv);

    /// The text that --help prints.
    static std::string Usage();

    /// A line for each command that the client has itself.
    static std::string OwnCommands();

    Url url;
    std::string token;      // empty when none is needed
    std::string authority;  // the file of whom https trusts; empty: those of the system
    std::string driver = "agent";
    std::string callControl;  // the path of its socket; empty when none was given
    bool raw = false;
    bool overwrite = false;            // state save may replace a file
    bool help = false;                 // --help was given
    std::optional<std::string> since;  // the id of an event
    std::string command;               // the first word; empty when there is none
    std::vector<std::string> arguments;
};

/// The content of a file. Throws WrongUse.
std::string ReadFile(const std::string& path);

/// Reads name=value words as parameters. The value of name=@file is the content of the file, and that of
/// name=@@text is "@text". Throws WrongUse.
Parameters ReadParameters(const std::vector<std::string>& words);

#endif
