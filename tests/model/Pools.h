// The small pools from which a run draws, so that collisions, duplicates and unknown values are
// frequent, and the numbers at the borders.
#ifndef TESTS_MODEL_POOLS_H
#define TESTS_MODEL_POOLS_H

#include <string>
#include <vector>

namespace model::pools {

using Texts = std::vector<std::string>;

inline const std::vector<unsigned long> kDeviceIds = {
    0, 1, 2, 3, 5, 7, 8, 99999, 100000, 100001, 2147483647, 2147483648, 3000000000, 4294967295};

// Read as an id or index.
inline const Texts kIdTexts = {"",
                               "0",
                               "-1",
                               "-2",
                               "00007",
                               " 5",
                               "+5",
                               "5abc",
                               "abc5",
                               "- 5",
                               "\t\n3",
                               "99999",
                               "2147483647",
                               "2147483648",
                               "-2147483648",
                               "-2147483649",
                               "4294967295",
                               "4294967296",
                               "-4294967295",
                               "-4294967296",
                               "99999999999999999999",
                               "-99999999999999999999",
                               "0x10",
                               "1e3",
                               "2.9"};

// Read as a signed number.
inline const Texts kNumberTexts = {
    "",    "0",          "-1",         "1",           "2",           "3",
    "4",   "7",          "20",         "5060",        "5060abc",     "abc",
    " -7", "2147483647", "2147483648", "-2147483648", "-2147483649", "99999999999999999999"};

inline const Texts kGroupNames = {"All",
                                  "All",
                                  "bell\x07",
                                  "all",
                                  "All ",
                                  "",
                                  "Hall",
                                  "Kitchen",
                                  "Yard",
                                  "Floor 1",
                                  "a<b>&\"c'",
                                  "K\xC3\xBC"
                                  "che",
                                  "two\nlines"};

inline const Texts kKeys = {
    "", "a", "b", "A", "sip:hall@home", "down", "Down", "x<&>y", "bell\x07", "\xE9\x96\x80", "k\nl"};

inline const Texts kAddresses = {"", "10.0.0.5", "192.168.1.10", " proxy ", "p<r>oxy"};

inline const Texts kKinds = {"home", "mobile", "work", "t\xC3\xA9l\xC3\xA9phone", "a-b.c_1", "x:fax"};

// What XML can carry.
inline const Texts kCarried = {"",
                               " ",
                               "Anna",
                               "555-0100",
                               "-",
                               "5",
                               "0-5",
                               " 5 ",
                               "+49 (30) <1> & \"2\" '3'",
                               "\xC3\xBC\xF0\x9F\x93\x9E",
                               "two\nlines",
                               "r\rn\r\n",
                               "tab\there",
                               "]]>",
                               "100% %s %n \\n"};

// What it cannot.
inline const Texts kNotCarried = {"bell\x07", "\x01", "broken \xFF", "\x1B[0m"};

inline const Texts kEventNames = {"OnItemRemoved", "OnItemNameChanged", "OnItemMoved",
                                  "OnItemAdded",   "onitemremoved",     ""};

// Case, blanks and the wrong dispatcher.
inline const Texts kUnknownUi = {"addgroup", "applySipProxyChanges", "", " addGroup", "SIP_REGULAR_CALL"};
inline const Texts kUnknownPlain = {"sip_regular_call", "addGroup", "CUSTOM_BUTTON ", ""};

inline const Texts kInterfaces = {"F2AE00A1-E2AF-4126-8F6F-137A42247E11",
                                  "f2ae00a1-e2af-4126-8f6f-137a42247e11",
                                  "06F75521-4342-406b-ACE5-91D6EF4CE431", ""};

// The agent's own id.
inline const std::vector<unsigned long> kAgentIds = {1, 77, 99999, 3000000000, 4294967295};

}  // namespace model::pools

#endif
