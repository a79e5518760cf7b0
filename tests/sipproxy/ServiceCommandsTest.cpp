// The commands on external SIP services.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Shared by the fixtures below.
class ServiceFixture : public test::AgentFixture {
protected:
    std::string Edit(const std::string& name, const std::string& provider) {
        return Ui("editService", {{"name", name}, {"host", provider}});
    }
    std::string Remove(const std::string& name) { return Ui("removeService", {{"name", name}}); }
    std::string List() { return Ui("getServiceList"); }
    static std::string Service(const std::string& name, const std::string& provider) {
        return "<service>" + name + "<name>" + name + "</name><host>" + provider +
               "</host><username/><password/></service>";
    }
};

class ServiceList : public ServiceFixture {};
class EditService : public ServiceFixture {};
class RemoveService : public ServiceFixture {};
class ExternalFlag : public ServiceFixture {};

TEST_F(ServiceList, WithoutServicesIsAnEmptyElement) {
    Start();
    EXPECT_EQ("<services/>", List());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ServiceList, HoldsServicesInTheOrderOfTheirNamesBytes) {
    Start();
    for (const std::string name : {"b", "a", "B"})
        Edit(name, "h" + name);
    EXPECT_EQ("<services>" + Service("B", "hB") + Service("a", "ha") + Service("b", "hb") + "</services>",
              List());
}

TEST_F(ServiceList, ShowsPasswordsInClear) {
    Start();
    Ui("editService", {{"name", "p"}, {"host", "h"}, {"username", "u"}, {"password", "s3cret"}});
    EXPECT_EQ(
        "<services><service>p<name>p</name><host>h</host><username>u</username>"
        "<password>s3cret</password></service></services>",
        List());
}

TEST_F(EditService, MarksTheStateAnnouncesAndSucceeds) {
    Start();
    EXPECT_EQ("<success/>", Edit("p", "h"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ServiceChanged/>"));
    EXPECT_EQ("<services>" + Service("p", "h") + "</services>", List());
}

TEST_F(EditService, ReplacesTheServiceOfThatName) {
    Start();
    Ui("editService", {{"name", "p"}, {"host", "h"}, {"username", "u"}, {"password", "s3cret"}});
    Take();
    EXPECT_EQ("<success/>", Edit("p", "other"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ServiceChanged/>"));
    EXPECT_EQ("<services>" + Service("p", "other") + "</services>", List());
}

TEST_F(EditService, FreesTheServiceThatItReplaces) {
    Start();
    Edit("p", "h");
    const long alive = dv::LiveObjects::Count();
    Edit("p", "other");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(EditService, HasTheChangeInPlaceBeforeTheStateIsMarked) {
    Start();
    Edit("p", "h");
    std::string atMark;
    recorder.Next("mark", [&] { atMark = List(); });
    Edit("p", "other");
    EXPECT_EQ("<services>" + Service("p", "other") + "</services>", atMark);
}

TEST_F(EditService, TakesAnEmptyOrAbsentNameLikeAnyOther) {
    Start();
    EXPECT_EQ("<success/>", Ui("editService", {{"host", "h"}}));
    EXPECT_EQ("<success/>", Edit("", "other"));
    EXPECT_EQ("<services><service><name/><host>other</host><username/><password/></service></services>",
              List());
    EXPECT_EQ("<success/>", Ui("removeService"));
    EXPECT_EQ("<services/>", List());
}

TEST_F(EditService, ComparesNamesExactly) {
    Start();
    Edit("p", "h");
    Edit("P", "h");
    Edit("p ", "h");
    EXPECT_EQ("<services>" + Service("P", "h") + Service("p", "h") + Service("p ", "h") + "</services>",
              List());
}

TEST_F(RemoveService, AnnouncesItAndMarksNothing) {
    Start();
    Edit("p", "h");
    Take();
    EXPECT_EQ("<success/>", Remove("p"));
    EXPECT_THAT(Take(), ElementsAre("ui <ServiceChanged/>"));
    EXPECT_EQ("<services/>", List());
}

TEST_F(RemoveService, HasTheServiceGoneBeforeItIsAnnounced) {
    Start();
    Edit("p", "h");
    Take();
    std::string atEvent;
    recorder.Next("ui ", [&] { atEvent = List(); });
    Remove("p");
    EXPECT_EQ("<services/>", atEvent);
}

TEST_F(RemoveService, FreesTheService) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Edit("p", "h");
    EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    Remove("p");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(RemoveService, OfAnUnknownNameAnswersFailedAndSendsNothing) {
    Start();
    Edit("p", "h");
    Take();
    for (const std::string name : {"P", "p ", "", "x"})
        EXPECT_EQ("<failed/>", Remove(name)) << name;
    EXPECT_EQ("<failed/>", Ui("removeService"));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<services>" + Service("p", "h") + "</services>", List());
}

TEST_F(RemoveService, TellsItsCallerWhetherThereWasOne) {
    Start();
    Edit("p", "h");
    Take();
    EXPECT_TRUE(Agent().removeService("p"));
    EXPECT_FALSE(Agent().removeService("p"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ExternalFlag, FollowsAnAddedServiceWhenItIsAskedForAndNotBefore) {
    Start();
    Edit("p", "h");
    EXPECT_FALSE(Agent().GetExternal());
    Take();
    EXPECT_EQ("<external>true</external>", Ui("getIsExternal"));
    EXPECT_THAT(Take(),
                ElementsAre("log 7 IntercomAgent checking services", "log 7 IntercomAgent has services",
                            "ui <AGENT_EXTERNAL><id>77</id><state>1</state></AGENT_EXTERNAL>"));
    EXPECT_TRUE(Agent().GetExternal());
}

TEST_F(ExternalFlag, FollowsARemovedServiceWhenItIsAskedForAndNotBefore) {
    Start("<IntercomState><services><service><name>p</name></service></services></IntercomState>");
    Remove("p");
    EXPECT_TRUE(Agent().GetExternal());
    Take();
    EXPECT_EQ("<external>false</external>", Ui("getIsExternal"));
    EXPECT_THAT(Take(), ElementsAre("ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>"));
    EXPECT_FALSE(Agent().GetExternal());
}

TEST_F(ExternalFlag, IsTakenBackWhenTheServicesGoWhileTheyAreLookedAt) {
    Start();
    Edit("p", "h");
    Take();
    recorder.Next("log 7 IntercomAgent checking", [&] { Agent().removeService("p"); });
    EXPECT_EQ("<external>false</external>", Ui("getIsExternal"));
    EXPECT_THAT(Take(),
                ElementsAre("log 7 IntercomAgent checking services", "log 7 IntercomAgent has no services",
                            "ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>"));
}

}  // namespace
