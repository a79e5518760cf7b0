#include "driverhost/home/HomeFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

class HomeFileTest : public testing::Test {
protected:
    HomeFileTest() {
        plugins_.Write("lamp.so", "a library");
        plugins_.Write("agent-2.so", "a library");
    }

    Home Parse(const std::string& text) const { return ParseHome(text, "home.xml", plugins_.Path()); }

    /// What is wrong with the text, in one line.
    std::string FaultOf(const std::string& text) const {
        try {
            Parse(text);
        } catch (const HomeFileError& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
            return error.what();
        }
        return "none";
    }

    TemporaryFolder plugins_;
};

std::string Driver(const std::string& id, const std::string& name, const std::string& more = "") {
    return "<driver><id>" + id + "</id><name>" + name + "</name><library>lamp</library>" + more + "</driver>";
}

TEST_F(HomeFileTest, DriversKeepTheirOrderAndTexts) {
    const Home home =
        Parse("<home>\n" + Driver("101", " Front door ") + Driver("4294967295", "a&amp;b") + "</home>");
    ASSERT_EQ(home.drivers.size(), 2U);
    EXPECT_EQ(home.drivers[0].id, 101U);
    EXPECT_EQ(home.drivers[0].name, " Front door ");
    EXPECT_EQ(home.drivers[0].libraryPath, plugins_.Path() + "/lamp.so");
    EXPECT_EQ(home.drivers[1].id, 4294967295U);
    EXPECT_EQ(home.drivers[1].name, "a&b");
}

TEST_F(HomeFileTest, TheConfigReachesTheDriverAsItStands) {
    const Home home = Parse("<home>" + Driver("1", "a", "<config><key> k </key><key/></config>") +
                            Driver("2", "b") + "</home>");
    EXPECT_EQ(home.drivers[0].config, "<config><key> k </key><key/></config>");
    EXPECT_EQ(home.drivers[1].config, "<config/>");
}

TEST_F(HomeFileTest, AnAddressMayBeGivenEmptyOrAbsent) {
    EXPECT_EQ(Parse("<home/>").address, std::nullopt);
    EXPECT_EQ(Parse("<home><controller/></home>").address, std::nullopt);
    EXPECT_EQ(Parse("<home><controller><address/></controller></home>").address, "");
    EXPECT_EQ(Parse("<home><controller><address>10.0.0.2</address></controller></home>").address, "10.0.0.2");
}

TEST_F(HomeFileTest, CommentsAreNoContent) {
    const Home home =
        Parse("<?xml version='1.0'?><!-- <driver> --><home><!-- a --> " + Driver("1", "a") + "</home>");
    EXPECT_EQ(home.drivers.size(), 1U);
}

TEST_F(HomeFileTest, AMissingFileIsNamed) {
    try {
        ReadHomeFile("/nowhere/home.xml", plugins_.Path());
        FAIL() << "it was read";
    } catch (const HomeFileError& error) {
        EXPECT_STREQ(
            error.what(),
            "cannot read /nowhere/home.xml: No such file or directory; --home must name the home file");
    }
}

TEST_F(HomeFileTest, PasswordsInAFileThatOthersMayReadAreWarnedOf) {
    const std::string path = plugins_.Path() + "/home.xml";
    plugins_.Write("home.xml",
                   "<home>" + Driver("1", "hall", "<config><password>s</password></config>") + "</home>");
    std::filesystem::permissions(path, std::filesystem::perms(0644));
    EXPECT_EQ(ReadHomeFile(path, plugins_.Path()).warning,
              path +
                  " holds the password of hall, and other users may read it; run chmod 600 on it, or name a "
                  "<passwordFile> instead");
    std::filesystem::permissions(path, std::filesystem::perms(0600));
    EXPECT_EQ(ReadHomeFile(path, plugins_.Path()).warning, "");
}

TEST_F(HomeFileTest, ATextThatIsNotXmlIsRefusedWithItsPlace) {
    EXPECT_EQ(FaultOf("<home>\n<driver>\n</home>"), "home.xml:3: not XML: mismatched tag (column 3)");
    EXPECT_EQ(FaultOf(""), "home.xml:1: not XML: there is no element (column 1)");
}

TEST_F(HomeFileTest, AnotherRootIsRefused) {
    EXPECT_EQ(FaultOf("<house/>"), "home.xml:1: the root element is 'house'; expected 'home'");
}

TEST_F(HomeFileTest, AnUnknownElementIsRefusedWithItsPlace) {
    EXPECT_EQ(FaultOf("<home>\n<drivers/></home>"), "home.xml:2: unknown element 'drivers' in 'home'");
    EXPECT_EQ(FaultOf("<home>\n" + Driver("1", "a", "\n\n<conf/>") + "</home>"),
              "home.xml:4: unknown element 'conf' in 'driver'");
    EXPECT_EQ(FaultOf("<home><controller>\n<ip/></controller></home>"),
              "home.xml:2: unknown element 'ip' in 'controller'");
}

TEST_F(HomeFileTest, PlacesAreRightBehindCommentsAndQuotes) {
    const std::string before = "<!--\n<a>\n-->\n<?p\n?>\n<home a='>\n'><!--\n-->\n<controller b=\"'>\"/>";
    EXPECT_EQ(FaultOf(before + "<x/></home>"), "home.xml:9: unknown element 'x' in 'home'");
    EXPECT_EQ(FaultOf("<home>\n" + Driver("1", "a", "<config>\n<![CDATA[<a>\n]]></config>") + "<x/></home>"),
              "home.xml:4: unknown element 'x' in 'home'");
}

TEST_F(HomeFileTest, ADuplicateIdIsRefusedWithItsPlace) {
    EXPECT_EQ(FaultOf("<home>\n" + Driver("7", "a") + "\n" + Driver("7", "b") + "</home>"),
              "home.xml:3: the driver id 7 is used twice (first in line 2)");
}

TEST_F(HomeFileTest, ADuplicateNameIsRefusedWithItsPlace) {
    EXPECT_EQ(FaultOf("<home>\n" + Driver("7", "a") + "\n" + Driver("8", "a") + "</home>"),
              "home.xml:3: the driver name 'a' is used twice (first in line 2)");
}

TEST_F(HomeFileTest, ANameThatIsAnotherDriversIdIsRefused) {
    const std::string fault = "home.xml:3: the driver name '8' in line 2 is the id of the driver in line 3";
    EXPECT_EQ(FaultOf("<home>\n" + Driver("7", "8") + "\n" + Driver("8", "a") + "</home>"), fault);
    EXPECT_EQ(FaultOf("<home>" + Driver("8", "8") + "</home>"), "none");
}

TEST_F(HomeFileTest, IdsOutsideTheirRangeAreRefused) {
    for (const char* id : {"", "0", "-1", "4294967296", "99999999999999999999", "0x10", " 1", "1 ", "one"}) {
        EXPECT_EQ(FaultOf("<home>\n" + Driver(id, "a") + "</home>"),
                  "home.xml:2: the driver id '" + std::string(id) + "' is not a number from 1 to 4294967295");
    }
}

TEST_F(HomeFileTest, NamesThatCannotNameAFolderAreRefused) {
    for (const char* name : {"", ".", "..", "a/b", ".lock"}) {
        EXPECT_THAT(FaultOf("<home>\n" + Driver("1", name) + "</home>"),
                    testing::AllOf(testing::StartsWith("home.xml:2: the driver name '"),
                                   testing::HasSubstr("cannot be the name of a folder")));
    }
    EXPECT_THROW(Parse("<home>" + Driver("1", "a&#10;b") + "</home>"), HomeFileError);
    EXPECT_THAT(FaultOf("<home>" + Driver("1", std::string(101, 'n')) + "</home>"),
                testing::HasSubstr("cannot be the name of a folder"));
}

TEST_F(HomeFileTest, MissingElementsAreNamed) {
    EXPECT_EQ(FaultOf("<home>\n<driver><name>a</name><library>lamp</library></driver></home>"),
              "home.xml:2: 'driver' has no element 'id'");
    EXPECT_EQ(FaultOf("<home>\n<driver><id>1</id><library>lamp</library></driver></home>"),
              "home.xml:2: 'driver' has no element 'name'");
    EXPECT_EQ(FaultOf("<home>\n<driver><id>1</id><name>a</name></driver></home>"),
              "home.xml:2: 'driver' has no element 'library'");
}

TEST_F(HomeFileTest, ElementsThatStandTwiceAreRefused) {
    EXPECT_EQ(FaultOf("<home>" + Driver("1", "a", "\n<id>2</id>") + "</home>"),
              "home.xml:2: there is more than one element 'id' in 'driver'");
    EXPECT_EQ(FaultOf("<home><controller/>\n<controller/></home>"),
              "home.xml:2: there is more than one element 'controller' in 'home'");
}

TEST_F(HomeFileTest, StrayTextIsRefused) {
    EXPECT_EQ(FaultOf("<home>\n" + Driver("1", "a", "on") + "</home>"),
              "home.xml:2: there is text between the elements of 'driver'; expected nothing but elements");
}

TEST_F(HomeFileTest, ElementsInAValueAreRefused) {
    EXPECT_EQ(FaultOf("<home>" + Driver("1", "\n<b>a</b>") + "</home>"),
              "home.xml:1: 'name' has elements in it; expected text");
}

TEST_F(HomeFileTest, AMissingLibraryIsNamedWithItsPlace) {
    EXPECT_EQ(FaultOf("<home>\n<driver><id>1</id><name>a</name><library>none</library></driver></home>"),
              "home.xml:2: the library 'none' of driver 'a' is missing; expected it at " + plugins_.Path() +
                  "/none.so");
}

TEST_F(HomeFileTest, ALibraryIsANameNotAPath) {
    for (const char* library : {"", "../lamp", "/lib/lamp", ".lamp", "lamp 2", "lamp--2", "lamp-"}) {
        EXPECT_THAT(FaultOf("<home>\n<driver><id>1</id><name>a</name>\n<library>" + std::string(library) +
                            "</library></driver></home>"),
                    testing::StartsWith("home.xml:3: the library name '" + std::string(library) +
                                        "' cannot be used"));
    }
    EXPECT_EQ(FaultOf("<home><driver><id>1</id><name>a</name><library>agent-2</library></driver></home>"),
              "none");
}

TEST_F(HomeFileTest, AnAddressThatIsNoIPv4AddressIsRefused) {
    EXPECT_EQ(FaultOf("<home><controller>\n<address>kitchen</address></controller></home>"),
              "home.xml:2: the address 'kitchen' is not an IPv4 address; expected one like 192.168.1.10, or "
              "nothing");
}

TEST_F(HomeFileTest, WhatIsWrongIsToldOnOneLineWhateverTheTextsHold) {
    EXPECT_EQ(FaultOf("<home><controller><address>10.0.\n0.2\x7F</address></controller></home>"),
              "home.xml:1: the address '10.0.&#10;0.2&#127;' is not an IPv4 address; expected one like "
              "192.168.1.10, or nothing");
    EXPECT_EQ(FaultOf("<home>" + Driver("1\n", "a") + "</home>"),
              "home.xml:1: the driver id '1&#10;' is not a number from 1 to 4294967295");
}

TEST_F(HomeFileTest, ADocumentTypeIsRefused) {
    EXPECT_THAT(FaultOf("<!DOCTYPE home [<!ENTITY a 'b'>]><home/>"),
                testing::StartsWith("home.xml:1: not XML: "));
}

}  // namespace
}  // namespace driverhost
