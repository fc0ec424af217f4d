// Check-ins through a real proxy that demands basic authentication: the
// credentials go along only with a user name, and each setProxy replaces
// all three settings.

#include "CheckinFixture.h"
#include "TinyProxy.h"

#include <gmock/gmock.h>

namespace lithmar::fcs::testing {
namespace {

using ::testing::HasSubstr;

class CheckinProxy : public CheckinTest {
protected:
    void SetUp() override
    {
        if (!TinyProxy::available()) {
            GTEST_SKIP() << "tinyproxy is not installed; scripts/install-deps.sh installs it";
        }
        proxy = std::make_unique<TinyProxy>(scratch);
    }

    // Checks a file in to a fresh slot: the receipt text (or the failure),
    // and the Via header with which the check-in reached the file server.
    std::pair<std::string, std::string> checkinVia()
    {
        platform.server().clearRequests();
        std::string outcome;
        try {
            outcome =
                sdk::toUtf8(sdk::FcsService::checkin(slots(1).at(0), writeFile("f", "through")).get()->getFcsReciept());
        } catch (const web::http::http_exception& failure) {
            // The proxy refuses before reading the body and resets the
            // connection, which may cut its answer short.
            outcome = std::string("failed: ") + failure.what();
        }
        std::string via = kNoCheckin;
        for (const auto& request : platform.server().requests()) {
            if (request.path.rfind("/lithmar-fcs/", 0) == 0) {
                via = request.header("Via");
            }
        }
        return {outcome, via};
    }

    static constexpr const char* kNoCheckin = "(the file server got no check-in)";

    std::unique_ptr<TinyProxy> proxy;
};

TEST_F(CheckinProxy, CredentialsGoWithAUserNameOnly)
{
    const std::wstring url = sdk::fromUtf8(proxy->url());
    sdk::FcsService::setProxy(url, sdk::fromUtf8(TinyProxy::kUser), sdk::fromUtf8(TinyProxy::kPassword));
    const auto [accepted, via] = checkinVia();
    EXPECT_THAT(accepted, HasSubstr("\"checksum\"")) << "the file server's receipt";
    EXPECT_THAT(via, HasSubstr("tinyproxy"));

    sdk::FcsService::setProxy(url, L"", sdk::fromUtf8(TinyProxy::kPassword));
    const auto [refused, refusedVia] = checkinVia();
    EXPECT_EQ(refusedVia, kNoCheckin) << "the proxy refused: " << refused;
    EXPECT_THAT(refused, ::testing::AnyOf(HasSubstr("407"), HasSubstr("failed: "))) << "the proxy's refusal";
}

TEST_F(CheckinProxy, ASecondSetProxyReplacesAllThreeValues)
{
    const std::wstring url = sdk::fromUtf8(proxy->url());
    sdk::FcsService::setProxy(url, sdk::fromUtf8(TinyProxy::kUser), sdk::fromUtf8(TinyProxy::kPassword));
    sdk::FcsService::setProxy(url, L"", L"");
    EXPECT_EQ(checkinVia().second, kNoCheckin) << "the user name was replaced too: the proxy refused";

    sdk::FcsService::setProxy(L"", sdk::fromUtf8(TinyProxy::kUser), sdk::fromUtf8(TinyProxy::kPassword));
    const auto [direct, via] = checkinVia();
    EXPECT_THAT(direct, HasSubstr("\"checksum\""));
    EXPECT_EQ(via, "") << "a user name without a URL sets no proxy";
}

} // namespace
} // namespace lithmar::fcs::testing
