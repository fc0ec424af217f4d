#include <lithmar/exchange/detail/PerCallClient.h>

#include <chrono>

namespace com::vantorel::lithmar::detail {
namespace {

constexpr std::chrono::microseconds kRequestTimeout{1'200'000'000}; // 20 minutes

} // namespace

std::shared_ptr<ApiClient> perCallClient(const std::shared_ptr<ApiConfiguration>& configuration)
{
    configuration->getHttpConfig().set_timeout(kRequestTimeout);
    return std::make_shared<ApiClient>(configuration);
}

} // namespace com::vantorel::lithmar::detail
