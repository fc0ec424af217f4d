#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>

namespace com::vantorel::lithmar {

// Pulls a request body out piece by piece, so that a large body reaches the
// socket without ever being held in memory as a whole.
class LITHMAR_RUNTIME_EXPORT BodyReader {
public:
    virtual ~BodyReader();
    // Copies up to `size` bytes into `buffer`; returns 0 at the end of the body.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
    // The total length of the body, when it is known before sending.
    virtual std::optional<std::uint64_t> size() const = 0;
};

class LITHMAR_RUNTIME_EXPORT IHttpBody {
public:
    IHttpBody() = default;
    IHttpBody(const IHttpBody&) = default;
    IHttpBody& operator=(const IHttpBody&) = default;
    virtual ~IHttpBody();

    virtual void writeTo(std::ostream& stream) = 0;

    // A fresh reader that produces the body from its first byte; the client
    // opens one for every attempt, so a retried request resends the whole
    // body. The default renders writeTo() into memory, which suits small
    // bodies; bodies that carry files override it.
    virtual std::unique_ptr<BodyReader> openReader();
};

} // namespace com::vantorel::lithmar
