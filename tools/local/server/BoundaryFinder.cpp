#include <tools/local/server/BoundaryFinder.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define LITHMAR_LOCAL_HAS_AVX2_SEARCH 1
#endif

namespace lithmar::local {
namespace {

#ifdef LITHMAR_LOCAL_HAS_AVX2_SEARCH

// Tests 32 candidate positions at once for the delimiter's first and last
// byte, and compares the rest only where both match: in file data that is a
// few positions per megabyte.
__attribute__((target("avx2"))) std::size_t findWithAvx2(std::string_view text, std::string_view delimiter)
{
    const std::size_t length = delimiter.size();
    if (text.size() < length) {
        return std::string_view::npos;
    }
    const char* const data = text.data();
    const std::size_t starts = text.size() - length + 1;
    const __m256i first = _mm256_set1_epi8(delimiter.front());
    const __m256i last = _mm256_set1_epi8(delimiter.back());
    std::size_t start = 0;
    for (; start + 32 <= starts; start += 32) {
        const __m256i firstBytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + start));
        const __m256i lastBytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + start + length - 1));
        auto candidates = static_cast<std::uint32_t>(_mm256_movemask_epi8(
            _mm256_and_si256(_mm256_cmpeq_epi8(firstBytes, first), _mm256_cmpeq_epi8(lastBytes, last))));
        while (candidates != 0) {
            const std::size_t position = start + static_cast<std::size_t>(__builtin_ctz(candidates));
            if (std::memcmp(data + position + 1, delimiter.data() + 1, length - 2) == 0) {
                return position;
            }
            candidates &= candidates - 1;
        }
    }
    for (; start < starts; ++start) {
        if (std::memcmp(data + start, delimiter.data(), length) == 0) {
            return start;
        }
    }
    return std::string_view::npos;
}

bool hasAvx2()
{
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

#endif

} // namespace

BoundaryFinder::BoundaryFinder(std::string delimiter) : m_delimiter(std::move(delimiter))
{
    const std::size_t length = m_delimiter.size();
    m_shift.fill(length);
    for (std::size_t i = 0; i + 1 < length; ++i) {
        m_shift[static_cast<unsigned char>(m_delimiter[i])] = length - 1 - i;
    }
}

std::size_t BoundaryFinder::find(std::string_view text) const
{
#ifdef LITHMAR_LOCAL_HAS_AVX2_SEARCH
    if (hasAvx2()) {
        return findWithAvx2(text, m_delimiter);
    }
#endif
    return findWithoutVectors(text);
}

std::size_t BoundaryFinder::findWithoutVectors(std::string_view text) const
{
    const std::size_t length = m_delimiter.size();
    if (text.size() < length) {
        return std::string_view::npos;
    }
    const char* const data = text.data();
    const char lastByte = m_delimiter.back();
    const std::size_t lastStart = text.size() - length;
    for (std::size_t start = 0; start <= lastStart;) {
        const char probe = data[start + length - 1];
        if (probe == lastByte && std::memcmp(data + start, m_delimiter.data(), length - 1) == 0) {
            return start;
        }
        start += m_shift[static_cast<unsigned char>(probe)];
    }
    return std::string_view::npos;
}

std::size_t BoundaryFinder::partialAtEnd(std::string_view text) const
{
    // A delimiter begins with '\r' and, as a boundary cannot hold CR, has no
    // other: every candidate tail starts at a '\r' among the last bytes.
    const std::size_t window = std::min(text.size(), m_delimiter.size() - 1);
    for (std::size_t start = text.size() - window; start < text.size(); ++start) {
        if (text[start] == '\r' &&
            std::memcmp(text.data() + start, m_delimiter.data(), text.size() - start) == 0) {
            return start;
        }
    }
    return text.size();
}

} // namespace lithmar::local
