// Lines for people, on standard error: what runs this program keeps them.
#ifndef TELEPHONY_CALLCONTROL_LOG_H
#define TELEPHONY_CALLCONTROL_LOG_H

#include <cstdio>
#include <string>

namespace telephony {

/// Control characters of whoever caused the line are shown as "?": it stays one line.
inline void LogLine(std::string text) {
    for (char& letter : text)
        if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7f') letter = '?';
    std::fprintf(stderr, "callcontrol: %s\n", text.c_str());
}

}  // namespace telephony

#endif
