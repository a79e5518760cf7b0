// No bound is missing in the options, in --help, or on the page.
#include "driverhost/settings/Limits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driverhost/settings/Options.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

Options Parse(const std::vector<const char*>& more) {
    std::vector<const char*> words = {"driverhost"};
    words.insert(words.end(), more.begin(), more.end());
    return ParseOptions(static_cast<int>(words.size()), words.data());
}

std::string FaultOf(const LimitRow& row, const std::string& value) {
    const std::string option = "--" + std::string(row.option);
    try {
        Parse({"--home", "h", option.c_str(), value.c_str()});
        return "none";
    } catch (const OptionError& error) {
        return error.what();
    }
}

std::string Preset(const LimitRow& row) {
    return std::to_string(LimitValue(Limits(), row));
}

TEST(LimitTable, EveryBoundIsAnOptionThatSetsItAndNothingElse) {
    for (const LimitRow& row : LimitTable()) {
        const std::uint64_t other = LimitValue(Limits(), row) == row.most ? row.least : row.most;
        const std::string option = "--" + std::string(row.option);
        const std::string value = std::to_string(other);
        const Options options = Parse({"--home", "h", option.c_str(), value.c_str()});
        for (const LimitRow& any : LimitTable()) {
            const bool isMeant = any.option == row.option;
            EXPECT_EQ(LimitValue(options.limits, any), isMeant ? other : LimitValue(Limits(), any))
                << any.option << " after " << option;
        }
    }
}

TEST(LimitTable, ValuesBeyondTheirRangeAreRefusedWithIt) {
    for (const LimitRow& row : LimitTable()) {
        const std::string range = "expected a whole number of " + std::string(row.unit) + " from " +
                                  std::to_string(row.least) + " to " + std::to_string(row.most);
        for (const std::string& value :
             {std::to_string(row.most + 1), std::string("-1"), std::string("1.5"), std::string("2k"),
              std::string(" 300"), std::string("many"), std::string("99999999999999999999")}) {
            EXPECT_EQ(FaultOf(row, value), "--" + std::string(row.option) + " " + value + ": " + range);
        }
        if (row.least > 0) {
            EXPECT_THAT(FaultOf(row, std::to_string(row.least - 1)), HasSubstr(range));
        }
        EXPECT_EQ(FaultOf(row, std::to_string(row.least)), "none");
        EXPECT_EQ(FaultOf(row, std::to_string(row.most)), "none");
    }
}

TEST(LimitTable, PresetsLieInTheirRange) {
    for (const LimitRow& row : LimitTable()) {
        EXPECT_GE(LimitValue(Limits(), row), row.least) << row.option;
        EXPECT_LE(LimitValue(Limits(), row), row.most) << row.option;
    }
}

TEST(LimitTable, HelpTellsEveryBoundWithItsUnitAndPreset) {
    const std::string help = Parse({"--help"}).printOnly;
    for (const LimitRow& row : LimitTable())
        EXPECT_THAT(help,
                    HasSubstr("--" + std::string(row.option) + " " + row.unit + " (=" + Preset(row) + ")"));
}

TEST(LimitTable, ThePageListsEveryBoundWithItsPresetAndNoOther) {
    const std::string page = test::ReadFile(DOCS_FOLDER "/http.md");
    const std::size_t begin = page.find("## Bounds");
    ASSERT_NE(begin, std::string::npos);
    const std::string section = page.substr(begin, page.find("\n## ", begin) - begin);
    for (const LimitRow& row : LimitTable()) {
        const std::string_view unit(row.unit);
        const std::string unitName = unit == "BYTES" ? " bytes" : unit == "MS" ? " ms" : "";
        EXPECT_THAT(section, HasSubstr("\n| `--" + std::string(row.option) + "` | " + Preset(row) + unitName +
                                       " | " + row.help + " |\n"));
    }
    std::size_t rows = 0;
    for (std::size_t at = section.find("\n| `--"); at != std::string::npos;
         at = section.find("\n| `--", at + 1))
        ++rows;
    EXPECT_EQ(rows, LimitTable().size());
}

}  // namespace
}  // namespace driverhost
