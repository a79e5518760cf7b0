// Records for tests.
#ifndef TESTS_TELEPHONY_PROXY_SUPPORT_SAMPLERECORDS_H
#define TESTS_TELEPHONY_PROXY_SUPPORT_SAMPLERECORDS_H

#include <random>
#include <string>

#include "telephony/proxy/Records.h"

namespace proxy {

/// A home at `address` with two phones: 101 "hall", called "Hall", and 102 "kitchen", called "Kitchen". Each
/// one's password is its user with "-password" behind it.
Records SampleHome(const std::string& address);

Account SampleAccount(unsigned long device, const std::string& user, const std::string& intercomName);

/// A text as somebody would write it who wants it to be more than a text.
std::string HostileText(std::mt19937& random);

/// A home whose every text is hostile.
Records HostileHome(const std::string& address, std::mt19937& random);

}  // namespace proxy

#endif
