#pragma once

#include <lithmar/runtime/IHttpBody.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace com::vantorel::lithmar::detail {

class StringBodyReader final : public BodyReader {
public:
    explicit StringBodyReader(std::string text) : m_text(std::move(text)) {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        const std::size_t n = std::min(size, m_text.size() - m_offset);
        std::memcpy(buffer, m_text.data() + m_offset, n);
        m_offset += n;
        return n;
    }

    std::optional<std::uint64_t> size() const override { return m_text.size(); }

private:
    std::string m_text;
    std::size_t m_offset = 0;
};

} // namespace com::vantorel::lithmar::detail
