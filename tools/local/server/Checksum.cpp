#include <tools/local/server/Checksum.h>

#include <xxhash.h>
#if defined(__x86_64__)
// Makes the XXH3 calls below pick the widest vector unit of the machine
// (AVX2, AVX-512) at run time: twice the speed of the baseline SSE2 code.
#include <xxh_x86dispatch.h>
#endif

#include <new>

namespace lithmar::local {

Checksum::Checksum() : m_state(XXH3_createState())
{
    if (!m_state || XXH3_64bits_reset(m_state.get()) != XXH_OK) {
        throw std::bad_alloc();
    }
}

Checksum::~Checksum() = default;
Checksum::Checksum(Checksum&&) noexcept = default;
Checksum& Checksum::operator=(Checksum&&) noexcept = default;

void Checksum::FreeState::operator()(XXH3_state_s* state) const
{
    XXH3_freeState(state);
}

void Checksum::update(const char* data, std::size_t size)
{
    XXH3_64bits_update(m_state.get(), data, size);
}

std::uint64_t Checksum::value() const
{
    return XXH3_64bits_digest(m_state.get());
}

std::uint64_t Checksum::of(std::string_view data)
{
    return XXH3_64bits(data.data(), data.size());
}

} // namespace lithmar::local
