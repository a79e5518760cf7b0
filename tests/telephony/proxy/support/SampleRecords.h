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

/// A text as somebody would write it who wants it to be more than a text, and to lead calls to a host.
std::string HostileText(std::mt19937& random, const std::string& host);

/// A home whose every text and number is hostile but for the two phones of SampleHome. Some of its routes get
/// past every check and change addresses whose user begins with "4".
Records HostileHome(const std::string& address, std::mt19937& random, const std::string& host = "127.0.0.1");

/// How many such homes a test makes: HOSTILE_ROUNDS in the environment, else so many.
int HostileRounds(int usual);

}  // namespace proxy

#endif
