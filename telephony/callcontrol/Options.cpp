#include "telephony/callcontrol/Options.h"

#include <boost/program_options.hpp>
#include <sstream>

#include "telephony/report/Report.h"

namespace telephony {
namespace {

namespace po = boost::program_options;

constexpr char kHead[] =
    "callcontrol --socket PATH --proxy FILE --journal FOLDER [OPTIONS]\n"
    "Calls the phones of a home and connects them, as drivers ask on the socket.\n\n";

constexpr char kTail[] =
    "\nINTERCOM_REPORTS_DIR names the folder where metrics and warnings are left for the driver host.\n"
    "\nSignals: SIGTERM and SIGINT end all calls and the program.\n"
    "\nExit status:\n"
    "  0  ended in order\n"
    "  1  could not start: socket or journal unusable\n"
    "  2  wrong options\n";

po::options_description Describe() {
    po::options_description options("Options");
    options.add_options()("socket", po::value<std::string>()->value_name("PATH"),
                          "the unix socket for drivers; made with mode 0600")(
        "proxy", po::value<std::string>()->value_name("FILE"),
        "the file that sipproxy writes when it starts: where the proxy is, and the secrets")(
        "journal", po::value<std::string>()->value_name("FOLDER"),
        "where running calls are written down; made with mode 0700")(
        "rtpengine", po::value<std::string>()->value_name("ADDRESS:PORT")->default_value("127.0.0.1:2223"),
        "its ng protocol")(
        "dtmf", po::value<std::string>()->value_name("ADDRESS:PORT")->default_value(""),
        "where rtpengine's --dtmf-log-dest tells of digits in the sound; none: they are not told")(
        "silence", po::value<unsigned>()->value_name("MS")->default_value(3000),
        "a phone in a call that sends nothing for so long is lost; 0: never")(
        "ringing", po::value<unsigned>()->value_name("MS")->default_value(120000),
        "nobody is called for longer")("help", "print this help");
    return options;
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
    const po::options_description description = Describe();
    po::variables_map values;
    try {
        using namespace po::command_line_style;
        po::store(po::command_line_parser(argc, argv)
                      .options(description)
                      .positional(po::positional_options_description())
                      .style(unix_style & ~allow_guessing)
                      .run(),
                  values);
    } catch (const po::error& error) {
        throw OptionError(std::string(error.what()) + "; see callcontrol --help");
    }
    Options options;
    if (values.contains("help")) {
        std::ostringstream text;
        text << kHead << description << kTail;
        options.printOnly = text.str();
        return options;
    }
    const auto take = [&](const char* name) {
        if (!values.contains(name))
            throw OptionError(std::string("--") + name + " is missing; see callcontrol --help");
        return values[name].as<std::string>();
    };
    options.socket = take("socket");
    options.proxy = take("proxy");
    options.journal = take("journal");
    options.media = take("rtpengine");
    options.digits = take("dtmf");
    options.reports = ReportsFolder();
    options.silence = std::chrono::milliseconds(values["silence"].as<unsigned>());
    options.ringing = std::chrono::milliseconds(values["ringing"].as<unsigned>());
    return options;
}

}  // namespace telephony
