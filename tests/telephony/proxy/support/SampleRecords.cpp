#include "tests/telephony/proxy/support/SampleRecords.h"

#include <array>

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

std::string HostileText(std::mt19937& random) {
    constexpr std::array kPieces = {"\"",
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
                                    "@127.0.0.1",
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
    std::uniform_int_distribution<std::size_t> which(0, kPieces.size() - 1);
    std::string text;
    for (std::size_t left = count(random); left != 0; --left)
        text += kPieces[which(random)];
    return text;
}

Records HostileHome(const std::string& address, std::mt19937& random) {
    const auto text = [&] { return HostileText(random); };
    Records records = SampleHome(address);
    for (unsigned long number = 0; number < 20; ++number) {
        records.domains.push_back({text(), text(), 5060});
        records.access.push_back({text(), text(), text(), 24, 0, 2, 0});
        records.routes.push_back({text(), number % 2 == 0 ? "" : text(), "", text(), text(), 0});
        records.services.push_back({text(), text(), text()});
        Account account = SampleAccount(1000 + number, text(), text());
        if (number % 2 == 0) account.user = "user" + std::to_string(number);
        account.key = text();
        account.forwardAddress = text();
        records.accounts.push_back(account);
        records.groups.push_back({text(), {101, 102, 1000 + number}});
    }
    records.access.push_back({"all", "", "127.0.0.0", 8, 0, 2, 0});
    return records;
}

}  // namespace proxy
