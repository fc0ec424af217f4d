#pragma once

#include <tools/local/server/Fault.h>
#include <tools/local/server/PathPattern.h>

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace lithmar::local {

// The faults that tests scripted, in the order they were scripted. Each
// request takes at most one: the first entry whose method and path pattern
// match it, and that entry is used up after its number of requests.
class FaultScript {
public:
    static constexpr int kForever = -1;

    // `times` requests get the fault (kForever: every matching request).
    // Throws std::invalid_argument on a bad pattern or a `times` below 1.
    void add(std::string method, std::string_view pathPattern, Fault fault, int times);
    // The fault for this request, or Fault::Kind::Answer without pause.
    Fault take(std::string_view method, std::string_view path);

    // The next `times` connections get `bytes` instead of any TLS handshake
    // or HTTP, then are closed. Throws std::invalid_argument for `times`
    // below 1.
    void addRawConnections(std::string bytes, int times);
    // The bytes for the connection just accepted, if it is scripted.
    std::optional<std::string> takeRawConnection();

    // Forgets the faults of requests and of connections.
    void clear();

private:
    struct Entry {
        std::string method;
        PathPattern pattern;
        Fault fault;
        int remaining;
    };

    std::mutex m_mutex;
    std::deque<Entry> m_entries;
    std::deque<std::pair<std::string, int>> m_rawConnections; // bytes, connections left
};

} // namespace lithmar::local
