#include "driverhost/state/StateRoots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/glue/XmlText.h"
#include "tests/driverhost/support/HostFixture.h"

namespace driverhost {
namespace {

class StateRootsTest : public HostFixture {
protected:
    StateRootsTest() { roots_.Load(); }

    /// What a process that starts now would know.
    std::string FoundByTheNext(const std::string& library) {
        StateStore store(disk_, "/state", [](StateStore::Work) {});
        StateRoots roots(store);
        roots.Load();
        return roots.Find(library);
    }

    /// Waits until what was learnt is stored.
    void WaitForStore() {
        store_.Load(".libraries", [](std::string_view) { return std::string(); });
    }

    static constexpr char kStored[] = "/state/.libraries/0000000001.xml";
};

TEST_F(StateRootsTest, NothingIsKnownAtFirstAndEveryDocumentIsGood) {
    EXPECT_EQ(roots_.Find("probe"), "");
    EXPECT_EQ(roots_.CheckText("probe", "<Any/>"), "");
}

TEST_F(StateRootsTest, ALibraryIsKnownByWhatItsDriversGive) {
    roots_.Learn("probe", "<ProbeState><value>1</value></ProbeState>");
    EXPECT_EQ(roots_.Find("probe"), "ProbeState");
    EXPECT_EQ(roots_.CheckText("probe", "<ProbeState/>"), "");
    EXPECT_EQ(roots_.CheckText("probe", "<Other/>"),
              "its root element is 'Other', but the library probe writes 'ProbeState'");
    EXPECT_EQ(roots_.CheckText("panel", "<Other/>"), "");
    EXPECT_THAT(roots_.CheckText("probe", "<ProbeState>"), testing::StartsWith("not XML: "));
}

TEST_F(StateRootsTest, EveryFormOfARootIsUnderstood) {
    for (const char* document : {"<a/>", "<a>text</a>", "<a b=\"c\"/>", "<a b=\"c>d\">e</a>"}) {
        roots_.Learn(document, document);
        EXPECT_EQ(roots_.Find(document), "a") << document;
    }
}

TEST_F(StateRootsTest, ANameThatXmlForbidsIsKnownAsItIsWritten) {
    const std::string document = DvXML::CreateXmlNode("1 bad/name", "")->NodeToText();
    roots_.Learn("probe", document);
    EXPECT_EQ(roots_.CheckText("probe", document), "");
}

TEST_F(StateRootsTest, TheNextProcessKnowsWhatThisOneHasLearnt) {
    roots_.Learn("panel", "<a/>");
    roots_.Learn("probe", "<ProbeState/>");
    roots_.Learn("panel", "<b/>");
    WaitForStore();
    EXPECT_EQ(FoundByTheNext("probe"), "ProbeState");
    EXPECT_EQ(FoundByTheNext("panel"), "b");
}

TEST_F(StateRootsTest, WhatIsKnownIsStoredOnce) {
    for (int times = 0; times < 3; ++times)
        roots_.Learn("probe", "<ProbeState/>");
    WaitForStore();
    EXPECT_EQ(
        disk_.ContentOf(kStored),
        SealDocument("<libraries><library><name>probe</name><root>ProbeState</root></library></libraries>",
                     "driverhost"));
    EXPECT_FALSE(disk_.Has("/state/.libraries/0000000002.xml"));
}

TEST_F(StateRootsTest, ADamagedFileIsPutAsideAndTheLibrariesAreLearntAgain) {
    disk_.Plant(kStored, "rubbish");
    EXPECT_EQ(FoundByTheNext("probe"), "");
    EXPECT_TRUE(disk_.Has(std::string(kStored) + ".damaged"));
}

TEST_F(StateRootsTest, AFailureToStoreIsLogged) {
    testing::internal::CaptureStderr();
    disk_.FailAll(true);
    roots_.Learn("probe", "<ProbeState/>");
    Turn();
    disk_.FailAll(false);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr(" 3 host what the libraries write could not be stored: cannot "));
    EXPECT_EQ(roots_.Find("probe"), "ProbeState");
}

}  // namespace
}  // namespace driverhost
