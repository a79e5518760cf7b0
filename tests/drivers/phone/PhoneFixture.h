// A phone "hall" with its neighbours, between an agent and a call control that a test plays.
#ifndef TESTS_DRIVERS_PHONE_PHONEFIXTURE_H
#define TESTS_DRIVERS_PHONE_PHONEFIXTURE_H

#include "tests/drivers/calls/CallingFixture.h"

namespace test {

class PhoneFixture : public CallingFixture {
protected:
    PhoneFixture() { times.callControl = linkTimes; }
    ~PhoneFixture() override { Stop(); }

    /// Starts the hall's phone with what stands in its config beside key, name, password and socket.
    Phone& Start(const std::string& config = "", DvXML::INode* saved = nullptr);
    /// The same, and call control has greeted it.
    Phone& StartConnected(const std::string& config = "");
    void Stop();

    /// Has the hall call the kitchen; both have answered. The id of the call.
    std::string CallTheKitchen();
    /// The same, started by the kitchen.
    void BeCalledByTheKitchen(const std::string& id = "1");

    std::unique_ptr<Phone> phone;
    Phone::Times times;
};

}  // namespace test

#endif
