#include <lithmar/runtime/RetryPolicy.h>

namespace com::vantorel::lithmar {

RetryPolicy RetryPolicy::none()
{
    RetryPolicy policy;
    policy.maxAttempts = 1;
    return policy;
}

} // namespace com::vantorel::lithmar
