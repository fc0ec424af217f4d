#pragma once

#include "Failure.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// An upload session from its start to its finish. The service offers no way
// to abandon a session, so when a failure interrupts one, it is finished
// with the receipts of the files checked in so far: nothing stays half done,
// and a rerun starts from a new session.
class UploadSession {
public:
    using Receipts = std::vector<std::shared_ptr<com::vantorel::lithmar::exploration::model::FcsReceipt>>;

    // Opens a session with one check-in slot per file.
    UploadSession(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, std::vector<std::string> files);

    // Checks the files in to their slots, one after the other, with a
    // progress bar per file on `progress` (redrawn in place when `terminal`).
    void checkIn(std::ostream& progress, bool terminal);
    // Finishes the session with the receipts of every file.
    void finish();
    // Call from a catch block: closes the session as far as the service
    // allows and throws InterruptedSession with the failure being handled.
    [[noreturn]] void closeAndRethrow();

    const std::wstring& id() const { return m_id; }
    std::vector<std::wstring> streamIds() const;
    const Receipts& receipts() const { return m_receipts; }

private:
    com::vantorel::lithmar::exploration::api::DataExchangeApi& m_api;
    const std::vector<std::string> m_files;
    std::shared_ptr<com::vantorel::lithmar::exploration::model::StartUploadResult> m_started;
    std::wstring m_id;
    Receipts m_receipts; // of m_files[0 .. m_receipts.size())
    bool m_finishTried = false;
};

} // namespace lithmar::xchng
