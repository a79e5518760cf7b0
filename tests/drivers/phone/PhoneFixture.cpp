#include "tests/drivers/phone/PhoneFixture.h"

namespace test {

using telephony::EventKind;

Phone& PhoneFixture::Start(const std::string& config, DvXML::INode* saved) {
    phone = std::make_unique<Phone>(host, times);
    EXPECT_EQ(
        0, phone->Initialize(101,
                             *Element("<config><key>hall</key><name>Hall</name><password>secret-of-hall"
                                      "</password><callControl>" +
                                      (folder / "calls").string() + "</callControl>" + config + "</config>"),
                             saved));
    return *phone;
}

Phone& PhoneFixture::StartConnected(const std::string& config) {
    telephony::RegisteredPhone registered;
    registered.user = "hall";
    control->snapshot.phones = {registered};
    Start(config);
    Greet();
    recorder.Take();
    return *phone;
}

void PhoneFixture::Stop() {
    if (!phone) return;
    phone->OnDestroy();
    phone.reset();
    host.RunPosted();
}

std::string PhoneFixture::CallTheKitchen() {
    phone->StartSipCall(dvIntercom::MEDIA_SEND_RECEIVE, dvIntercom::MEDIA_NONE, "Kitchen@10.0.0.2");
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen"})));
    Tell(About(EventKind::LegUp, id, "hall"));
    Tell(About(EventKind::LegUp, id, "kitchen"));
    Tell(About(EventKind::Established, id));
    return id;
}

void PhoneFixture::BeCalledByTheKitchen(const std::string& id) {
    Tell(Calling(Call(id, "kitchen", {"hall"})));
    Tell(About(EventKind::LegUp, id, "kitchen"));
    Tell(About(EventKind::LegUp, id, "hall"));
    Tell(About(EventKind::Established, id));
}

}  // namespace test
