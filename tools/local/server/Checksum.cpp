#include <tools/local/server/Checksum.h>

#include <cstring>

namespace lithmar::local {
namespace {

constexpr std::uint64_t kPrime1 = 0x9E3779B185EBCA87ULL;
constexpr std::uint64_t kPrime2 = 0xC2B2AE3D27D4EB4FULL;
constexpr std::uint64_t kPrime3 = 0x165667B19E3779F9ULL;
constexpr std::uint64_t kPrime4 = 0x85EBCA77C2B2AE63ULL;
constexpr std::uint64_t kPrime5 = 0x27D4EB2F165667C5ULL;

std::uint64_t rotateLeft(std::uint64_t value, int bits)
{
    return (value << bits) | (value >> (64 - bits));
}

// The algorithm is defined on little-endian words; memcpy keeps unaligned
// reads legal and compiles to a single load on the machines we run on.
std::uint64_t load64(const char* bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t load32(const char* bytes)
{
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint64_t round(std::uint64_t lane, std::uint64_t input)
{
    lane += input * kPrime2;
    return rotateLeft(lane, 31) * kPrime1;
}

std::uint64_t mergeLane(std::uint64_t hash, std::uint64_t lane)
{
    hash ^= round(0, lane);
    return hash * kPrime1 + kPrime4;
}

} // namespace

std::array<std::uint64_t, 4> Checksum::initialLanes()
{
    return {kPrime1 + kPrime2, kPrime2, 0, 0 - kPrime1};
}

void Checksum::consumeStripe(const char* stripe)
{
    m_lanes[0] = round(m_lanes[0], load64(stripe));
    m_lanes[1] = round(m_lanes[1], load64(stripe + 8));
    m_lanes[2] = round(m_lanes[2], load64(stripe + 16));
    m_lanes[3] = round(m_lanes[3], load64(stripe + 24));
}

void Checksum::update(const char* data, std::size_t size)
{
    m_totalSize += size;
    if (m_pendingSize > 0) {
        const std::size_t taken = std::min(size, kStripe - m_pendingSize);
        std::memcpy(m_pending.data() + m_pendingSize, data, taken);
        m_pendingSize += taken;
        data += taken;
        size -= taken;
        if (m_pendingSize < kStripe) {
            return;
        }
        consumeStripe(m_pending.data());
        m_pendingSize = 0;
    }
    for (; size >= kStripe; data += kStripe, size -= kStripe) {
        consumeStripe(data);
    }
    if (size > 0) {
        std::memcpy(m_pending.data(), data, size);
    }
    m_pendingSize = size;
}

std::uint64_t Checksum::value() const
{
    std::uint64_t hash;
    if (m_totalSize >= kStripe) {
        hash = rotateLeft(m_lanes[0], 1) + rotateLeft(m_lanes[1], 7) + rotateLeft(m_lanes[2], 12) +
               rotateLeft(m_lanes[3], 18);
        for (const std::uint64_t lane : m_lanes) {
            hash = mergeLane(hash, lane);
        }
    } else {
        hash = kPrime5; // the seed, 0, plus kPrime5
    }
    hash += m_totalSize;

    const char* tail = m_pending.data();
    std::size_t left = m_pendingSize;
    for (; left >= 8; tail += 8, left -= 8) {
        hash ^= round(0, load64(tail));
        hash = rotateLeft(hash, 27) * kPrime1 + kPrime4;
    }
    if (left >= 4) {
        hash ^= load32(tail) * kPrime1;
        hash = rotateLeft(hash, 23) * kPrime2 + kPrime3;
        tail += 4;
        left -= 4;
    }
    for (; left > 0; ++tail, --left) {
        hash ^= static_cast<unsigned char>(*tail) * kPrime5;
        hash = rotateLeft(hash, 11) * kPrime1;
    }

    hash ^= hash >> 33;
    hash *= kPrime2;
    hash ^= hash >> 29;
    hash *= kPrime3;
    hash ^= hash >> 32;
    return hash;
}

std::uint64_t Checksum::of(std::string_view data)
{
    Checksum checksum;
    checksum.update(data);
    return checksum.value();
}

} // namespace lithmar::local
