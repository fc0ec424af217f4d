#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;

namespace {

struct Derivation {
    const char* name;
    api::ServiceUrlMap map;
    std::string ownUrl;
    std::wstring user;
    std::wstring notifications;
    std::wstring directory;
};

TEST(ServiceUrlsTest, MapValueWinsOtherwiseTheSuffixIsSwappedEverywhere)
{
    const std::vector<Derivation> cases{
        {"suffix in the host, path kept",
         {},
         "https://geo-xchng.example.org/x",
         L"https://geo-dash.example.org/x/api/users/current",
         L"https://geo-gate.example.org/x",
         L"https://geo-dirx.example.org/x/vireon/resources/AppsMngt/api/v1/services"},
        {"empty map value counts as absent",
         {{"Brevane", ""}, {"tidewell", ""}, {"Maraquil", ""}},
         "https://h-xchng",
         L"https://h-dash/api/users/current",
         L"https://h-gate",
         L"https://h-dirx/vireon/resources/AppsMngt/api/v1/services"},
        {"every occurrence replaced",
         {},
         "https://a-xchng.example.org/lithmar-xchng",
         L"https://a-dash.example.org/lithmar-dash/api/users/current",
         L"https://a-gate.example.org/lithmar-gate",
         L"https://a-dirx.example.org/lithmar-dirx/vireon/resources/AppsMngt/api/v1/services"},
        {"no suffix: own URL unchanged",
         {},
         "http://127.0.0.1:8480/exchange",
         L"http://127.0.0.1:8480/exchange/api/users/current",
         L"http://127.0.0.1:8480/exchange",
         L"http://127.0.0.1:8480/exchange/vireon/resources/AppsMngt/api/v1/services"},
        {"map values as they stand, trailing '/' doubles, keys are case-sensitive",
         {{"Brevane", "https://users.example.org/"}, {"tidewell", "wss://n-xchng.example.org"}, {"maraquil", "x"}},
         "https://h-xchng",
         L"https://users.example.org//api/users/current",
         L"wss://n-xchng.example.org",
         L"https://h-dirx/vireon/resources/AppsMngt/api/v1/services"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(api::userServiceUrl(c.map, c.ownUrl), c.user);
        EXPECT_EQ(api::notificationServiceUrl(c.map, c.ownUrl), c.notifications);
        EXPECT_EQ(api::servicesDirectoryUrl(c.map, c.ownUrl), c.directory);
    }
}

TEST(ServiceUrlsTest, TextThatIsNotUtf8FailsWithTheConversionError)
{
    EXPECT_THROW(api::userServiceUrl({}, "https://h-xchng/\xff"), sdk::EncodingError);
}

} // namespace
