// Answers of a host: reads them, checks them, and prints them for people.
#ifndef CLIENT_ANSWERS_H
#define CLIENT_ANSWERS_H

#include <optional>
#include <pugixml.hpp>
#include <string>

#include "client/Connection.h"
#include "client/Failure.h"

/// The document has no root element when the text is not exactly one XML element, or is nested deeper than
/// anything that a host sends.
pugi::xml_document ParseXml(const std::string& text);

/// The text with one element on each line, indented by two blanks a level, with a line feed at the end. Texts
/// and attributes stay as they were sent. White space between the children of an element is left out. None
/// when the text is not XML, as above.
std::optional<std::string> Indented(const std::string& text);

/// Throws Failure with the host's words unless the request succeeded.
void CheckStatus(const Answer& answer);

/// Prints the answer, indented or as it came. The status says whether the answer was "fail" or "failed".
/// Throws Failure as CheckStatus does.
ExitStatus PrintAnswer(const Answer& answer, bool raw);

/// Throws Failure when standard output has not taken everything that was printed.
void FlushOutput();

#endif
