#include "drivers/phone/PhoneConfig.h"

#include <sys/stat.h>

#include <curl/curl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "drivers/calls/Values.h"
#include "host/glue/Numbers.h"

using telephony::AnswerStyle;
using telephony::DigitStyle;
using telephony::HoldStyle;

namespace {

// Set by the host.
constexpr char kHomeFolderVariable[] = "INTERCOM_HOME_FOLDER";

constexpr std::string_view kMethodLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kDigits = "0123456789*#ABCD";

bool IsMadeOf(std::string_view text, std::string_view letters) {
    return !text.empty() && text.find_first_not_of(letters) == std::string_view::npos;
}

auto IntoCodecs(std::vector<std::string>& codecs) {
    return [&codecs](const DvXML::INode& element) {
        std::istringstream list(TextOf(element) + ",");
        for (std::string name; std::getline(list, name, ',');) {
            const std::string_view codec = telephony::FindCodec(dv::Trim(name));
            if (codec.empty())
                throw ConfigError("<codecs> must be a list, with commas, of PCMA, PCMU, G722, opus; \"" +
                                  name + "\" is none");
            if (std::ranges::find(codecs, codec) != codecs.end())
                throw ConfigError("<codecs> names " + std::string(codec) + " twice");
            codecs.emplace_back(codec);
        }
    };
}

template <class Enum>
auto IntoChoice(Enum& out, std::vector<std::pair<std::string, Enum>> choices) {
    return [&out, choices = std::move(choices)](const DvXML::INode& element) {
        std::string words;
        for (const auto& [word, value] : choices) {
            if (word == dv::Trim(element.NodeGetText())) {
                out = value;
                return;
            }
            words += (words.empty() ? "" : ", ") + word;
        }
        throw ConfigError("<" + std::string(element.NodeGetName()) + "> must be one of " + words +
                          ", not \"" + TextOf(element) + "\"");
    };
}

// As seen from the home file, wherever the host was started.
std::string WholePath(const std::string& path) {
    const char* const folder = std::getenv(kHomeFolderVariable);
    return folder ? (std::filesystem::path(folder) / path).lexically_normal().string() : path;
}

// Whoever else may read it knows the password.
std::string ReadPasswordFile(const std::string& name) {
    const std::string path = WholePath(name);
    struct stat status {};
    std::ifstream file(path);
    if (!file || ::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        throw ConfigError("<passwordFile>: the file " + path +
                          " cannot be read; write the password into its first line, with mode 0600");
    if ((status.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH)) != 0)
        throw ConfigError("<passwordFile>: other users may read " + path + "; set its mode to 0600");
    std::string line;
    std::getline(file, line);
    while (line.ends_with('\r'))
        line.pop_back();
    if (line.empty()) throw ConfigError("<passwordFile>: the first line of " + path + " is empty");
    return line;
}

void TakePassword(std::string& password, const std::string& file, const std::string& place) {
    if (!password.empty() && !file.empty())
        throw ConfigError("both <password> and <passwordFile> stand in <" + place + ">; give one");
    if (!file.empty()) password = ReadPasswordFile(file);
}

std::string PartOf(CURLU& url, CURLUPart part, unsigned int flags = 0) {
    char* text = nullptr;
    if (curl_url_get(&url, part, &text, flags) != CURLUE_OK) return {};
    std::string copy = text;
    curl_free(text);
    return copy;
}

void TakeUrl(HttpAction& action, const std::string& text) {
    const auto refuse = [](const std::string& why) {
        throw ConfigError("<address> must be like https://station.home/open?door=1: " + why);
    };
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    if (!url) throw std::bad_alloc();
    if (!text.starts_with("http://") && !text.starts_with("https://"))
        refuse("it does not begin with http:// or https://");
    if (const CURLUcode fault = curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0); fault != CURLUE_OK)
        refuse(curl_url_strerror(fault));
    if (!PartOf(*url, CURLUPART_USER).empty() || !PartOf(*url, CURLUPART_PASSWORD).empty())
        refuse("credentials go into <user> and <password>");
    action.url = PartOf(*url, CURLUPART_URL);
    action.station = PartOf(*url, CURLUPART_HOST) + ":" + PartOf(*url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
}

// What libcurl compares the key of a station's certificate with.
std::string KeyOfCertificate(const std::string& name) {
    const std::string path = WholePath(name);
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> file(BIO_new_file(path.c_str(), "r"), &BIO_free_all);
    if (!file) throw ConfigError("<certificate>: the file " + path + " cannot be read");
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), &X509_free);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    unsigned char* key = nullptr;
    const int size = certificate ? i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate.get()), &key) : 0;
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owned(
        key, [](unsigned char* k) { OPENSSL_free(k); });
    if (size <= 0 ||
        EVP_Digest(key, static_cast<std::size_t>(size), digest.data(), &length, EVP_sha256(), nullptr) != 1)
        throw ConfigError("<certificate>: " + path + " is no certificate in PEM form");
    std::string base64(2 * EVP_MAX_MD_SIZE, '\0');
    base64.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(base64.data()),
                                                           digest.data(), static_cast<int>(length))));
    return "sha256//" + base64;
}

HttpAction ReadHttp(const DvXML::INode& element) {
    HttpAction action;
    std::string url;
    std::string file;
    std::string certificate;
    ReadChildren(element, {{"address", IntoText(url)},
                           {"certificate", IntoText(certificate)},
                           {"method", IntoText(action.method)},
                           {"user", IntoText(action.user)},
                           {"password", IntoText(action.password)},
                           {"passwordFile", IntoText(file)}});
    TakeUrl(action, std::string(dv::Trim(url)));
    TakePassword(action.password, file, "http");
    if (!certificate.empty() && !action.url.starts_with("https://"))
        throw ConfigError("<http> has a <certificate>, and its address does not begin with https://");
    if (!certificate.empty()) action.key = KeyOfCertificate(certificate);
    if (!IsMadeOf(action.method, kMethodLetters))
        throw ConfigError("<method> must be an HTTP method like GET or POST");
    if (action.user.empty() && !action.password.empty())
        throw ConfigError("<http> has a password and no <user>");
    return action;
}

PhoneButton ReadButton(const DvXML::INode& element) {
    PhoneButton button;
    std::string info;
    std::string dtmf;
    ReadChildren(element, {{"name", IntoText(button.name)},
                           {"info", IntoText(info)},
                           {"dtmf", IntoText(dtmf)},
                           {"http", [&](const DvXML::INode& http) { button.http = ReadHttp(http); }}});
    if (button.name.empty()) throw ConfigError("a <button> has no <name>");
    if (!info.empty() + !dtmf.empty() + button.http.has_value() != 1)
        throw ConfigError("the button \"" + button.name + "\" must have one of <info>, <dtmf> and <http>");
    if (button.http) return button;
    button.by = dtmf.empty() ? DigitStyle::Info : DigitStyle::Rfc4733;
    button.digits = info + dtmf;
    if (!IsMadeOf(button.digits, kDigits) || button.digits.size() > telephony::kMostDigits)
        throw ConfigError("the button \"" + button.name + "\": <" + (dtmf.empty() ? "info" : "dtmf") +
                          "> must be at most " + std::to_string(telephony::kMostDigits) + " of 0-9 * # A-D");
    return button;
}

void Check(PhoneConfig& config) {
    config.Complete();
    if (config.password.empty())
        throw ConfigError("<password> or <passwordFile> is missing; the phone registers with it");
    std::set<std::string> names;
    for (const PhoneButton& button : config.buttons)
        if (!names.insert(button.name).second)
            throw ConfigError("two buttons are called \"" + button.name + "\"");
}

}  // namespace

PhoneConfig PhoneConfig::Read(const DvXML::INode& element) {
    PhoneConfig config;
    std::string file;
    ConfigReaders readers = config.Readers();
    readers["password"] = IntoText(config.password);
    readers["passwordFile"] = IntoText(file);
    readers["doorStation"] = IntoFlag(config.doorStation);
    readers["codecs"] = IntoCodecs(config.codecs);
    readers["autoAnswerStyle"] = IntoChoice(config.answer, {{"none", AnswerStyle::None},
                                                            {"call-info", AnswerStyle::CallInfo},
                                                            {"alert-info", AnswerStyle::AlertInfo},
                                                            {"answer-mode", AnswerStyle::AnswerMode}});
    readers["hold"] =
        IntoChoice(config.hold, {{"re-invite", HoldStyle::Reinvite}, {"gate", HoldStyle::Gate}});
    readers["chime"] = [&](const DvXML::INode& part) {
        ReadChildren(part, {{"http", [&](const DvXML::INode& http) { config.chime = ReadHttp(http); }}});
        if (!config.chime) throw ConfigError("<chime> has no <http>");
    };
    readers["buttons"] = [&](const DvXML::INode& list) {
        const auto read = [&](const DvXML::INode& button) { config.buttons.push_back(ReadButton(button)); };
        ReadChildren(list, {{"button", read}}, "button");
    };
    ReadChildren(element, readers);
    TakePassword(config.password, file, std::string(element.NodeGetName()));
    Check(config);
    return config;
}
