#include <tools/local/exchange/PercentEncoding.h>

#include <tools/local/common/RequestError.h>

namespace lithmar::local {
namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string decodedQueryPart(std::string_view part)
{
    auto decoded = percentDecoded(part, true);
    if (!decoded) {
        throw RequestError(400, "the query part \"" + std::string(part) +
                                    "\" has a '%' that is not followed by two hex digits; write '%' as %25");
    }
    return std::move(*decoded);
}

} // namespace

std::optional<std::string> percentDecoded(std::string_view text, bool plusIsSpace)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size()) {
                return std::nullopt;
            }
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            if (high < 0 || low < 0) {
                return std::nullopt;
            }
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else if (c == '+' && plusIsSpace) {
            decoded += ' ';
        } else {
            decoded += c;
        }
    }
    return decoded;
}

std::map<std::string, std::string> queryParameters(std::string_view query)
{
    std::map<std::string, std::string> parameters;
    while (!query.empty()) {
        const auto ampersand = query.find('&');
        const std::string_view pair = query.substr(0, ampersand);
        query = ampersand == std::string_view::npos ? std::string_view() : query.substr(ampersand + 1);
        if (pair.empty()) {
            continue;
        }
        const auto equals = pair.find('=');
        const std::string_view value = equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
        parameters.emplace(decodedQueryPart(pair.substr(0, equals)), decodedQueryPart(value));
    }
    return parameters;
}

} // namespace lithmar::local
