#pragma once

#include <stdexcept>
#include <string>

namespace lithmar::local {

// A request that the service refuses, with the HTTP status to answer and a
// message telling the caller what was wrong. Handlers throw it from wherever
// they find the problem; the service turns it into {"error": message}.
class RequestError : public std::runtime_error {
public:
    RequestError(int status, const std::string& message) : std::runtime_error(message), m_status(status) {}

    int status() const { return m_status; }

private:
    int m_status;
};

} // namespace lithmar::local
