#include "drivers/panel/SessionTable.h"

#include <algorithm>

#include "host/interfaces/dvIntercom.h"

using dvIntercom::NO_SESSION;

void SessionTable::Add(const std::string& remote, unsigned char number) {
    sessions_.push_back({remote, number, false});
}

void SessionTable::Replace(const std::string& remote, unsigned char number) {
    CloseRemote(remote);
    Add(remote, number);
}

bool SessionTable::CloseRemote(const std::string& remote) {
    return std::erase_if(sessions_, [&](const Session& session) { return session.remote == remote; }) != 0;
}

bool SessionTable::CloseNumber(unsigned char number) {
    return std::erase_if(sessions_, [=](const Session& session) { return session.number == number; }) != 0;
}

unsigned char SessionTable::Find(const std::string& remote) const {
    for (const Session& session : sessions_) {
        if (session.remote == remote) return session.number;
    }
    return NO_SESSION;
}

void SessionTable::SetHeld(unsigned char number, bool held) {
    for (Session& session : sessions_) {
        if (session.number == number) session.held = held;
    }
}

bool SessionTable::IsActive(unsigned char number) const {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [=](const Session& session) { return session.number == number && !session.held; });
}

bool SessionTable::IsTaken(unsigned char number) const {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [=](const Session& session) { return session.number == number; });
}
