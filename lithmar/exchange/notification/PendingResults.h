#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>

#include <cpprest/json.h>

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace com::vantorel::lithmar {

// The process-wide table of job results that notifications brought and no
// upload has taken yet: job identifier -> the notification's "data" object.
// Shared by every DataExchangeApi of the process; starts empty, and nothing
// ages its entries (a null notification clears it, see dispatchNotification).
//
// An instance holds the notification lock from construction to destruction,
// so that a look-up, the read of its value and the erase happen as one step:
//
//     PendingResults table;                // locked
//     if (table.contains(jobId)) {
//         result->fromJson(table.at(jobId));
//         table.erase(jobId);
//     }                                    // unlocked at the end of scope
//
// Keep instances short-lived and never hold one while doing network work.
class LITHMAR_EXCHANGE_EXPORT PendingResults {
public:
    PendingResults();
    ~PendingResults();

    PendingResults(const PendingResults&) = delete;
    PendingResults& operator=(const PendingResults&) = delete;

    bool contains(const std::wstring& jobId) const;
    // The value filed under `jobId`; throws std::out_of_range when there is none.
    const web::json::value& at(const std::wstring& jobId) const;
    void erase(const std::wstring& jobId);

    // Files `data` under `jobId`, replacing what was there.
    void file(const std::wstring& jobId, web::json::value data);
    void clear();
    std::size_t size() const;
    // A copy of every entry, in job identifier order.
    std::map<std::wstring, web::json::value> entries() const;

private:
    std::unique_lock<std::mutex> m_lock;
};

} // namespace com::vantorel::lithmar
