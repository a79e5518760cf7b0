#include "telephony/proxy/Configuration.h"

#include <sqlite3.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <nlohmann/json.hpp>

#include "telephony/proxy/Files.h"
#include "telephony/proxy/KamailioScript.h"

namespace proxy {

namespace {

constexpr char kHeader[] = "X-Intercom-Secret";
constexpr char kCallControlUser[] = "callcontrol";
constexpr int kBusyMilliseconds = 2000;

// Kamailio refuses a table whose layout is of another version than it was built for.
constexpr char kRecordsLayout[] = R"(
    CREATE TABLE version (table_name VARCHAR(32) NOT NULL, table_version INTEGER NOT NULL);
    INSERT INTO version VALUES ('address', 6);
    CREATE TABLE address (id INTEGER PRIMARY KEY NOT NULL, grp INTEGER NOT NULL, ip_addr VARCHAR(50) NOT NULL,
        mask INTEGER NOT NULL, port INTEGER NOT NULL, tag VARCHAR(64));
    INSERT INTO version VALUES ('trusted', 6);
    CREATE TABLE trusted (id INTEGER PRIMARY KEY NOT NULL, src_ip VARCHAR(50) NOT NULL, proto VARCHAR(4) NOT NULL,
        from_pattern VARCHAR(64), ruri_pattern VARCHAR(64), tag VARCHAR(64), priority INTEGER NOT NULL DEFAULT 0);
)";
constexpr char kContactsLayout[] = R"(
    CREATE TABLE version (table_name VARCHAR(32) NOT NULL, table_version INTEGER NOT NULL);
    INSERT INTO version VALUES ('location', 9);
    CREATE TABLE location (id INTEGER PRIMARY KEY NOT NULL, ruid VARCHAR(64) NOT NULL UNIQUE,
        username VARCHAR(64) NOT NULL, domain VARCHAR(64), contact VARCHAR(512) NOT NULL, received VARCHAR(128),
        path VARCHAR(512), expires TIMESTAMP NOT NULL, q REAL NOT NULL, callid VARCHAR(255) NOT NULL,
        cseq INTEGER NOT NULL, last_modified TIMESTAMP NOT NULL, flags INTEGER NOT NULL DEFAULT 0,
        cflags INTEGER NOT NULL DEFAULT 0, user_agent VARCHAR(255) NOT NULL DEFAULT '', socket VARCHAR(64),
        methods INTEGER, instance VARCHAR(255), reg_id INTEGER NOT NULL DEFAULT 0,
        server_id INTEGER NOT NULL DEFAULT 0, connection_id INTEGER NOT NULL DEFAULT 0,
        keepalive INTEGER NOT NULL DEFAULT 0, partition INTEGER NOT NULL DEFAULT 0);
)";

class Database {
public:
    Database(const std::string& path, int flags) : path_(path) {
        sqlite3* opened = nullptr;
        const int result = ::sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
        handle_.reset(opened);
        if (result != SQLITE_OK) Fail();
        ::sqlite3_busy_timeout(opened, kBusyMilliseconds);
    }

    void Run(const char* statements) {
        if (::sqlite3_exec(handle_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
    }

    // `receive` gets each row's texts.
    template <class Receive>
    void Query(const std::string& statement, const std::vector<std::string>& values, Receive receive) {
        sqlite3_stmt* made = nullptr;
        if (::sqlite3_prepare_v2(handle_.get(), statement.c_str(), -1, &made, nullptr) != SQLITE_OK) Fail();
        const std::unique_ptr<sqlite3_stmt, decltype(&::sqlite3_finalize)> prepared(made, ::sqlite3_finalize);
        int number = 0;
        for (const std::string& value : values)
            ::sqlite3_bind_text(made, ++number, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        int result = ::sqlite3_step(made);
        for (; result == SQLITE_ROW; result = ::sqlite3_step(made))
            receive(RowOf(made));
        if (result != SQLITE_DONE) Fail();
    }
    void Change(const std::string& statement, const std::vector<std::string>& values) {
        Query(statement, values, [](const auto&) {});
    }

private:
    static std::vector<std::string> RowOf(sqlite3_stmt* statement) {
        std::vector<std::string> row;
        for (int column = 0; column < ::sqlite3_column_count(statement); ++column) {
            const auto* const text = reinterpret_cast<const char*>(::sqlite3_column_text(statement, column));
            row.emplace_back(text ? text : "");
        }
        return row;
    }
    [[noreturn]] void Fail() const {
        throw Failure("cannot use " + path_ + ": " + ::sqlite3_errmsg(handle_.get()));
    }

    const std::string path_;
    std::unique_ptr<sqlite3, decltype(&::sqlite3_close)> handle_{nullptr, ::sqlite3_close};
};

std::string RecordsFile(const std::string& folder) {
    return folder + "/records.sqlite";
}

// SQLite makes its files readable for all that the mask lets in.
Database CreateDatabase(const std::string& path, const char* layout) {
    ::unlink(path.c_str());
    const mode_t before = ::umask(S_IRWXG | S_IRWXO);
    Database database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    // The file is put in its place when it is whole, and lies in memory.
    database.Run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
    ::umask(before);
    database.Run(layout);
    return database;
}

void AddTable(Database& database, const std::string& name, const Table& rows) {
    const std::string quoted = "table_" + name;
    database.Run(
        ("CREATE TABLE " + quoted +
         " (id INTEGER PRIMARY KEY NOT NULL, key_name TEXT NOT NULL, key_type INTEGER NOT NULL DEFAULT 0,"
         " value_type INTEGER NOT NULL DEFAULT 0, key_value TEXT NOT NULL, expires INTEGER NOT NULL DEFAULT "
         "0)")
            .c_str());
    for (const auto& [key, value] : rows)
        database.Change("INSERT INTO " + quoted + " (key_name, key_value) VALUES (?, ?)", {key, value});
}

Table SecretsTable(const Secrets& secrets) {
    return {{"header", secrets.header}, {"digest", DigestOf(kCallControlUser, secrets.password)}};
}

// A phone whose account is gone must not be reachable because it registered before.
void PrepareContacts(const Plan& plan, const std::string& folder) {
    const std::string path = ContactsFile(folder);
    if (::access(path.c_str(), F_OK) != 0) {
        // Who reads does not lock Kamailio out then, which does not wait.
        CreateDatabase(path + ".new", kContactsLayout).Run("COMMIT; PRAGMA journal_mode = WAL");
        Rename(path + ".new", path);
        return;
    }
    Database database(path, SQLITE_OPEN_READWRITE);
    std::vector<std::string> users;
    database.Query("SELECT DISTINCT username FROM location", {},
                   [&](const auto& row) { users.push_back(row[0]); });
    for (const std::string& user : users)
        if (!plan.live.at("users").contains(user))
            database.Change("DELETE FROM location WHERE username = ?", {user});
}

std::string CallControlFile(const Plan& plan, const Secrets& secrets) {
    const Meeting meeting = Meeting::For(plan);
    const nlohmann::json text = {{"proxy", meeting.sip.Text()},
                                 {"domain", plan.AddressForDevices()},
                                 {"realm", kRealm},
                                 {"user", kCallControlUser},
                                 {"password", secrets.password},
                                 {"header", kHeader},
                                 {"secret", secrets.header},
                                 {"events", meeting.events.Text()},
                                 {"callcontrol", meeting.callControl.Text()}};
    return text.dump(1) + "\n";
}

void Replace(std::string& text, const std::string& word, const std::string& value) {
    for (std::size_t at = text.find(word); at != text.npos; at = text.find(word, at + value.size()))
        text.replace(at, word.size(), value);
}

}  // namespace

Secrets Secrets::Make() {
    const auto text = [] {
        std::array<unsigned char, 16> bytes;
        if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            throw SystemFailure("there are no random numbers", errno);
        std::string hex;
        for (const unsigned char byte : bytes) {
            hex += "0123456789abcdef"[byte >> 4];
            hex += "0123456789abcdef"[byte & 15];
        }
        return hex;
    };
    return {text(), text()};
}

Meeting Meeting::For(const Plan& plan) {
    const std::string& address = plan.Loopback();
    for (const Endpoint& endpoint : plan.listen)
        if (endpoint.address == address)
            return {endpoint, {address, kEventsPort}, {address, kCallControlPort}};
    return {};
}

std::string ScriptFile(const std::string& folder) {
    return folder + "/kamailio.cfg";
}
std::string ContactsFile(const std::string& folder) {
    return folder + "/contacts.sqlite";
}
std::string SecretsFile(const std::string& folder) {
    return folder + "/callcontrol.json";
}

std::string Script(const Plan& plan, const std::string& folder) {
    std::string listen;
    for (const Endpoint& endpoint : plan.listen)
        listen += "listen=udp:" + endpoint.Text() + "\nlisten=tcp:" + endpoint.Text() + "\n";
    std::string tables;
    const auto declare = [&](const std::string& name) {
        tables += "modparam(\"htable\", \"htable\", \"" + name + "=>size=8;dbtable=table_" + name + ";\")\n";
    };
    for (const auto& [name, rows] : plan.fixed)
        declare(name);
    for (const auto& [name, rows] : plan.live)
        declare(name);
    declare("secret");
    const Meeting meeting = Meeting::For(plan);
    std::string script = kKamailioScript;
    Replace(script, "@LISTEN@", listen);
    Replace(script, "@TABLES@", tables);
    Replace(script, "@RUN@", folder);
    Replace(script, "@HEADER@", kHeader);
    Replace(script, "@SIP@", meeting.sip.Text());
    Replace(script, "@LOOPBACK@", meeting.sip.address);
    Replace(script, "@EVENTS@", meeting.events.Text());
    Replace(script, "@CALLCONTROL@", meeting.callControl.Text());
    Replace(script, "@CALLCONTROL_PORT@", std::to_string(meeting.callControl.port));
    return script;
}

void WriteRecords(const Plan& plan, const Secrets& secrets, const std::string& folder) {
    const std::string path = RecordsFile(folder);
    Database database = CreateDatabase(path + ".new", kRecordsLayout);
    for (const Network& network : plan.networks)
        database.Change("INSERT INTO address (grp, ip_addr, mask, port) VALUES (?, ?, ?, ?)",
                        {std::to_string(network.transport), network.address, std::to_string(network.mask),
                         std::to_string(network.port)});
    for (const auto& [name, rows] : plan.fixed)
        AddTable(database, name, rows);
    for (const auto& [name, rows] : plan.live)
        AddTable(database, name, rows);
    AddTable(database, "secret", SecretsTable(secrets));
    database.Run("COMMIT");
    Rename(path + ".new", path);
}

void WriteConfiguration(const Plan& plan, const Secrets& secrets, const std::string& folder) {
    WriteRecords(plan, secrets, folder);
    PrepareContacts(plan, folder);
    WritePrivateFile(SecretsFile(folder), CallControlFile(plan, secrets));
    WritePrivateFile(ScriptFile(folder), Script(plan, folder));
}

std::vector<Registration> ReadRegistrations(const std::string& folder) {
    std::vector<Registration> found;
    const std::string path = ContactsFile(folder);
    if (::access(path.c_str(), F_OK) != 0) return found;
    Database database(path, SQLITE_OPEN_READONLY);
    database.Query(
        "SELECT username, contact, user_agent, received, expires FROM location WHERE expires > "
        "julianday('now') ORDER BY username, contact",
        {}, [&](const auto& row) {
            found.push_back({row[0], row[1], row[2], row[3], row[4]});
        });
    return found;
}

}  // namespace proxy
