#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

struct XXH3_state_s;

namespace lithmar::local {

// XXH3 64-bit (seed 0, as `xxhsum -H3` prints it) of a byte stream fed in
// pieces of any size; the value does not depend on how the stream was cut.
// It lets tests check the content of multi-gigabyte uploads without keeping
// them. XXH3 rather than a byte-wise hash such as FNV-1a because it runs at
// memory speed: with a byte-wise hash the server, not the client, would be
// the bottleneck of upload benchmarks.
class Checksum {
public:
    Checksum();
    ~Checksum();
    Checksum(Checksum&&) noexcept;
    Checksum& operator=(Checksum&&) noexcept;

    void update(const char* data, std::size_t size);
    void update(std::string_view data) { update(data.data(), data.size()); }
    std::uint64_t value() const;

    static std::uint64_t of(std::string_view data);

private:
    struct FreeState {
        void operator()(XXH3_state_s* state) const;
    };
    std::unique_ptr<XXH3_state_s, FreeState> m_state;
};

} // namespace lithmar::local
