#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/exchange/model/FcsFile.h>
#include <lithmar/exchange/model/FcsReceipt.h>

#include <pplx/pplxtasks.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace com::vantorel::lithmar {

// How far one file of a check-in has gone.
struct CheckinProgress {
    std::size_t fileIndex = 0;   // the file's place in the list; 0 for a single file
    std::uint64_t bytesSent = 0; // bytes of the file handed to the connection so far
    std::uint64_t bytesTotal = 0;
};

// What a caller may add to a check-in beyond the plain calls.
struct CheckinOptions {
    // Called on the I/O thread as the file goes out (once per chunk of about
    // a MiB, and with 0 bytes when an attempt starts, so a repeated attempt
    // shows as starting over). Keep it quick; it must not throw.
    std::function<void(const CheckinProgress&)> onProgress;
    // Cancelling fails the check-in's task at once with pplx::task_canceled:
    // the upload in flight stops at its next chunk (the server keeps nothing
    // of it) and no further file or attempt starts.
    pplx::cancellation_token cancellation = pplx::cancellation_token::none();
};

// Checks local files in to the check-in slots of the platform's file server
// and returns the server's receipts, which the caller reports back when it
// finishes the upload session.
//
// A file goes out as a two-part multipart/form-data POST to the slot's URL:
// "__fcs__jobTicket" (the slot's ticket) and then "my-upload" (the file,
// named by its local path, application/octet-stream). The file is streamed
// from disk chunk by chunk with a Content-Length, never read whole. The
// receipt holds the whole answer body whatever its status: the server's
// verdict is for the data exchange service to judge.
//
// Every check-in builds its own client with a 20-minute time-out and the
// proxy set by setProxy().
class LITHMAR_EXCHANGE_EXPORT FcsService {
public:
    // Throws std::runtime_error "File not found: <path>" when the file cannot
    // be opened; nothing is sent then. Transport failures fail the task with
    // cpprestsdk's web::http::http_exception.
    static pplx::task<std::shared_ptr<exploration::model::FcsReceipt>>
    checkin(std::shared_ptr<exploration::model::FcsFile> file, std::wstring path);

    // files[i] is checked in from paths[i], one file after the other; the
    // receipts come in the order of the files. A failure that a later attempt
    // may cure (the server answered something that is not HTTP, the TLS
    // handshake failed) is retried after a one-second pause, five attempts in
    // all per file, then the task fails with std::runtime_error "Retries
    // exhausted". Any other failure fails the task at once, receipts gathered
    // so far included. The pauses are timers: no thread waits.
    static pplx::task<std::vector<std::shared_ptr<exploration::model::FcsReceipt>>>
    checkin(std::vector<std::shared_ptr<exploration::model::FcsFile>> files, std::vector<std::wstring> paths);

    // As above, with progress reports and cancellation.
    static pplx::task<std::shared_ptr<exploration::model::FcsReceipt>>
    checkin(std::shared_ptr<exploration::model::FcsFile> file, std::wstring path, CheckinOptions options);
    static pplx::task<std::vector<std::shared_ptr<exploration::model::FcsReceipt>>>
    checkin(std::vector<std::shared_ptr<exploration::model::FcsFile>> files, std::vector<std::wstring> paths,
            CheckinOptions options);

    // The proxy for every later check-in of the process: all three values
    // are replaced. An empty URL means no proxy (the user name and password
    // are then ignored); credentials are sent only when the user name is not
    // empty. Not locked: call it before check-ins start.
    static void setProxy(std::wstring proxyUrl, std::wstring userName, std::wstring password);
};

} // namespace com::vantorel::lithmar
