// libFuzzer target: any text handed to the notification dispatcher. It must
// never throw or crash, and whatever it files must be what an upload wait
// can read: an object whose string "jobId" is the key it is filed under.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/runtime/Utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace sdk = com::vantorel::lithmar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string message(reinterpret_cast<const char*>(data), size);
    sdk::dispatchNotification(message.c_str());

    sdk::PendingResults table;
    for (const auto& [jobId, result] : table.entries()) {
        if (!result.is_object() || !result.has_string_field("jobId") ||
            sdk::fromUtf8(result.at("jobId").as_string()) != jobId) {
            std::abort();
        }
    }
    // Bounded memory over a long run, and the null message exercised too.
    if (table.size() > 100) {
        table.clear();
    }
    return 0;
}
