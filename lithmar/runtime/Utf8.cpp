#include <lithmar/runtime/Utf8.h>

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

namespace com::vantorel::lithmar {
namespace {

namespace utf = boost::locale::utf;

// Finds where conversion fails so that the error message can point at it;
// only called once a strict conversion has already refused the input.
template <typename CharT>
std::size_t firstInvalidOffset(const std::basic_string<CharT>& text)
{
    auto it = text.begin();
    while (it != text.end()) {
        const auto start = it;
        const utf::code_point decoded = utf::utf_traits<CharT>::decode(it, text.end());
        if (decoded == utf::illegal || decoded == utf::incomplete || it == start) {
            return static_cast<std::size_t>(start - text.begin());
        }
    }
    return text.size();
}

} // namespace

std::string toUtf8(const std::wstring& text)
{
    try {
        return boost::locale::conv::utf_to_utf<char>(text, boost::locale::conv::stop);
    } catch (const boost::locale::conv::conversion_error&) {
        throw EncodingError("text holds a character that is not valid Unicode at position " +
                            std::to_string(firstInvalidOffset(text)));
    }
}

std::wstring fromUtf8(const std::string& text)
{
    try {
        return boost::locale::conv::utf_to_utf<wchar_t>(text, boost::locale::conv::stop);
    } catch (const boost::locale::conv::conversion_error&) {
        throw EncodingError("text is not valid UTF-8 at byte " + std::to_string(firstInvalidOffset(text)));
    }
}

} // namespace com::vantorel::lithmar
