// What a host answers: read, judged, and printed for people.
#ifndef CLIENT_ANSWERS_H
#define CLIENT_ANSWERS_H

#include <optional>
#include <pugixml.hpp>
#include <string>

#include "client/Connection.h"
#include "client/Failure.h"

/// The root element of the document is null when the text is not one XML element, or is nested deeper than
/// anything that a host sends.
pugi::xml_document ParseXml(const std::string& text);

/// The text with one element a line, two blanks a level, a line feed at the end. Texts and attributes stay as
/// they were sent; where an element has children, white space between them is left out. None when the text is
/// not XML, as above.
std::optional<std::string> Indented(const std::string& text);

/// Throws Failure with the host's words unless the answer is one of success.
void CheckStatus(const Answer& answer);

/// Prints the answer, indented or as it came; the status tells an answer of "fail". Throws Failure like
/// CheckStatus.
ExitStatus PrintAnswer(const Answer& answer, bool raw);

/// Throws Failure when standard output does not take what was printed.
void FlushOutput();

#endif
