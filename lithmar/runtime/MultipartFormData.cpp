#include <lithmar/runtime/MultipartFormData.h>

#include <lithmar/runtime/Utf8.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace com::vantorel::lithmar {
namespace {

std::wstring randomBoundary()
{
    static const wchar_t digits[] = L"0123456789abcdef";
    std::random_device entropy;
    std::mt19937_64 generator((static_cast<std::uint64_t>(entropy()) << 32) ^ entropy());
    std::uniform_int_distribution<int> digit(0, 15);
    std::wstring boundary = L"lithmar-";
    for (int i = 0; i < 32; ++i) {
        boundary += digits[digit(generator)];
    }
    return boundary;
}

// The body is a sequence of segments: literal text (delimiters and part
// headers) and part data, which is pulled from the part's stream only while
// the body is being read.
struct Segment {
    std::string text;
    std::shared_ptr<HttpContent> part;
};

std::vector<Segment> segmentsOf(const std::vector<std::shared_ptr<HttpContent>>& parts, const std::string& boundary)
{
    std::vector<Segment> segments;
    std::string pending;
    for (const auto& part : parts) {
        pending += "--" + boundary + "\r\n" + part->headerText();
        segments.push_back({std::move(pending), nullptr});
        segments.push_back({{}, part});
        pending = "\r\n";
    }
    pending += "--" + boundary + "--\r\n";
    segments.push_back({std::move(pending), nullptr});
    return segments;
}

class MultipartReader final : public BodyReader {
public:
    explicit MultipartReader(std::vector<Segment> segments) : m_segments(std::move(segments))
    {
        std::uint64_t total = 0;
        for (const auto& segment : m_segments) {
            const auto length = segment.part ? segment.part->dataSize() : std::optional<std::uint64_t>(segment.text.size());
            if (!length) {
                return;
            }
            total += *length;
        }
        m_size = total;
    }

    std::size_t read(char* buffer, std::size_t size) override
    {
        std::size_t filled = 0;
        while (filled < size && m_current < m_segments.size()) {
            const std::size_t n = readSegment(m_segments[m_current], buffer + filled, size - filled);
            if (n == 0) {
                ++m_current;
                m_offset = 0;
                m_started = false;
            }
            filled += n;
        }
        return filled;
    }

    std::optional<std::uint64_t> size() const override { return m_size; }

private:
    std::size_t readSegment(Segment& segment, char* buffer, std::size_t size)
    {
        if (!segment.part) {
            const std::size_t n = std::min(size, segment.text.size() - m_offset);
            std::memcpy(buffer, segment.text.data() + m_offset, n);
            m_offset += n;
            return n;
        }
        const auto data = segment.part->getData();
        if (!data) {
            return 0;
        }
        if (!m_started) {
            segment.part->beginDataRead();
            m_started = true;
        }
        // Straight from the stream buffer: for a file stream a large read goes
        // directly from the file into the caller's buffer.
        const std::streamsize n = data->rdbuf()->sgetn(buffer, static_cast<std::streamsize>(size));
        return n > 0 ? static_cast<std::size_t>(n) : 0;
    }

    std::vector<Segment> m_segments;
    std::size_t m_current = 0;
    std::size_t m_offset = 0;
    bool m_started = false;
    std::optional<std::uint64_t> m_size;
};

} // namespace

MultipartFormData::MultipartFormData() : m_boundary(randomBoundary()) {}

MultipartFormData::MultipartFormData(const std::wstring& boundary) : m_boundary(boundary) {}

MultipartFormData::~MultipartFormData() = default;

void MultipartFormData::add(std::shared_ptr<HttpContent> content)
{
    m_byName.emplace(content->getName(), content);
    m_parts.push_back(std::move(content));
}

bool MultipartFormData::hasContent(const std::wstring& name) const
{
    return m_byName.count(name) != 0;
}

std::shared_ptr<HttpContent> MultipartFormData::getContent(const std::wstring& name)
{
    const auto found = m_byName.find(name);
    return found == m_byName.end() ? nullptr : found->second;
}

std::wstring MultipartFormData::getBoundary()
{
    return m_boundary;
}

void MultipartFormData::writeTo(std::ostream& stream)
{
    const std::string boundary = toUtf8(m_boundary);
    for (const auto& part : m_parts) {
        stream << "--" << boundary << "\r\n";
        part->writeTo(stream);
        stream << "\r\n";
    }
    stream << "--" << boundary << "--\r\n";
}

std::unique_ptr<BodyReader> MultipartFormData::openReader()
{
    return std::make_unique<MultipartReader>(segmentsOf(m_parts, toUtf8(m_boundary)));
}

const std::vector<std::shared_ptr<HttpContent>>& MultipartFormData::parts() const
{
    return m_parts;
}

} // namespace com::vantorel::lithmar
