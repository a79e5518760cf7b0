#include "tests/telephony/proxy/support/SampleRecords.h"

#include <array>
#include <cstdlib>
#include <limits>

namespace proxy {

Account SampleAccount(unsigned long device, const std::string& user, const std::string& intercomName) {
    Account account;
    account.device = device;
    account.key = account.user = user;
    account.digest = DigestOf(user, user + "-password");
    account.intercomName = intercomName;
    return account;
}

Records SampleHome(const std::string& address) {
    Records records;
    records.domains = {{address, address, 5060}};
    records.accounts = {SampleAccount(101, "hall", "Hall"), SampleAccount(102, "kitchen", "Kitchen")};
    return records;
}

std::string HostileText(std::mt19937& random, const std::string& host) {
    const std::string toHost = "@" + host;
    const std::array pieces = {"\"",
                               "'",
                               "\n",
                               "\r\n",
                               "#!",
                               "#!define X 1\n",
                               "$var(x)",
                               "$sht(users=>hall)",
                               "\\",
                               ";",
                               "{",
                               "}",
                               "(",
                               ")",
                               "@RUN@",
                               "@LISTEN@",
                               "\x01",
                               "\t",
                               "exit;",
                               "sip:",
                               toHost.c_str(),
                               "%n%s",
                               "<",
                               ">",
                               "' OR 1=1 --",
                               "\xC3\xA4",
                               "a",
                               "modparam(\"htable\", \"htable\", \"x\")",
                               "request_route { exit; }",
                               "include_file \"/etc/passwd\"\n",
                               "1",
                               " ",
                               "listen=udp:0.0.0.0:5060\n",
                               "/*",
                               "*/",
                               "[",
                               "]",
                               "*",
                               "+",
                               "?",
                               "|",
                               "^",
                               "$",
                               ".",
                               "$0",
                               "{9999}",
                               ",",
                               "=>",
                               "::"};
    std::uniform_int_distribution<std::size_t> count(1, 8);
    std::uniform_int_distribution<std::size_t> which(0, pieces.size() - 1);
    std::string text;
    for (std::size_t left = count(random); left != 0; --left)
        text += pieces[which(random)];
    return text;
}

Records HostileHome(const std::string& address, std::mt19937& random, const std::string& host) {
    constexpr int kLowest = std::numeric_limits<int>::min(), kHighest = std::numeric_limits<int>::max();
    const auto text = [&] { return HostileText(random, host); };
    const auto one = [&]<class Value, std::size_t count>(const Value(&values)[count]) {
        return values[random() % count];
    };
    const auto number = [&] {
        return one({kLowest, -1, 0, 1, 2, 3, 24, 32, 33, 5060, 65535, 65536, kHighest});
    };
    // Below 1024 a port is not everybody's to listen on.
    const auto port = [&] { return one({kLowest, -1, 0, 5060, 5061, 5062, 5070, 65535, 65536, kHighest}); };
    const auto flag = [&] { return random() % 2 == 0; };
    const auto textOr = [&](const char* valid) { return random() % 3 == 0 ? text() : valid; };
    Records records = SampleHome(address);
    for (unsigned long each = 0; each < 20; ++each) {
        records.domains.push_back({text(), textOr("a"), port()});
        records.access.push_back(
            {text(), text(), textOr("10.9.8.7"), number(), number(), number(), number()});
        records.routes.push_back({text(), textOr(one({"", "*", "INVITE"})), textOr(one({"", "presence"})),
                                  each % 4 == 0 ? "^sip:4([0-9]*)@" : text(), text(), number()});
        records.services.push_back({text(), text(), text()});
        Account account = SampleAccount(1000 + each, text(), text());
        if (flag()) account.user = "user" + std::to_string(each);
        account.key = text();
        if (flag()) account.forwardAddress = text();
        account.doNotDisturb = flag();
        account.autoAnswer = flag();
        account.ringDoorbell = flag();
        records.accounts.push_back(account);
        records.groups.push_back({text(), {101, 102, 1000 + each}});
    }
    records.access.push_back({"all", "", "127.0.0.0", 8, 0, 2, 0});
    return records;
}

int HostileRounds(int usual) {
    const char* const given = std::getenv("HOSTILE_ROUNDS");
    return given ? std::atoi(given) : usual;
}

}  // namespace proxy
