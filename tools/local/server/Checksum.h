#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lithmar::local {

// XXH64 (seed 0) of a byte stream fed in pieces of any size; the value does
// not depend on how the stream was cut. It lets tests check the content of
// multi-gigabyte uploads without keeping them. XXH64 rather than a byte-wise
// hash such as FNV-1a because it runs at memory speed: a byte-wise hash would
// make the server, not the client, the bottleneck of upload benchmarks.
class Checksum {
public:
    void update(const char* data, std::size_t size);
    void update(std::string_view data) { update(data.data(), data.size()); }
    std::uint64_t value() const;

    static std::uint64_t of(std::string_view data);

private:
    static constexpr std::size_t kStripe = 32;

    void consumeStripe(const char* stripe);

    std::array<std::uint64_t, 4> m_lanes = initialLanes();
    std::array<char, kStripe> m_pending{};
    std::size_t m_pendingSize = 0;
    std::uint64_t m_totalSize = 0;

    static std::array<std::uint64_t, 4> initialLanes();
};

} // namespace lithmar::local
