// A tablet "hall" with its neighbours, between an agent, a call control and pages that a test plays.
#ifndef TESTS_DRIVERS_TABLET_TABLETFIXTURE_H
#define TESTS_DRIVERS_TABLET_TABLETFIXTURE_H

#include "drivers/tablet/Tablet.h"
#include "tests/drivers/calls/CallingFixture.h"

namespace test {

/// What a page or call control tells as its description, and how XML carries it.
inline constexpr char kSdp[] = "v=0\r\na=ice-pwd:secret-of-a-page\r\n";
inline constexpr char kSdpInXml[] = "<sdp>v=0&#13;&#10;a=ice-pwd:secret-of-a-page&#13;&#10;</sdp>";

class TabletFixture : public CallingFixture {
protected:
    /// Nobody is taken for gone because the machine is slow; a test that waits for it shortens a time.
    TabletFixture();
    ~TabletFixture() override { Stop(); }

    /// Starts the hall's tablet with what stands in its config beside key, name and socket.
    Tablet& Start(const std::string& config = "");
    /// The same, and call control has greeted it.
    Tablet& StartConnected(const std::string& config = "");
    void Stop();

    /// A stream is opened; its reader.
    unsigned long OpenStream();
    /// The same, and its page says hello. What that led to is forgotten.
    unsigned long OpenPage();
    void CloseStream(unsigned long reader);
    /// What a page's command is answered with.
    std::string Say(unsigned long reader, const std::string& command, const std::string& call = "",
                    const Parameters& more = {});

    /// The kitchen calls the hall, whose pages are invited.
    void BeInvited(const std::string& id = "1", telephony::CallKind kind = telephony::CallKind::Regular);
    /// The same, answered by that page, and up. What that led to is forgotten.
    void BeInCall(unsigned long reader, const std::string& id = "1");
    telephony::Event Invitation(const std::string& id, telephony::LegRole role,
                                telephony::CallKind kind = telephony::CallKind::Regular) const;
    telephony::Event Offer(const std::string& id) const;
    telephony::Event LegDown(const std::string& id, const std::string& leg, int code,
                             const std::string& reason) const;

    /// What pages were told, as "READER XML". How long a call has lasted stands there as ".".
    std::vector<std::string> TakePages();
    /// Waits until a page was told that.
    bool IsTold(const std::string& line);

    std::unique_ptr<Tablet> tablet;
    Tablet::Times times;
    std::vector<long> seconds;  // that calls have lasted, as pages were told

private:
    unsigned long readers_ = 0;
};

}  // namespace test

#endif
