#include <tools/local/exchange/ServicePaths.h>

#include <stdexcept>

namespace lithmar::local {

void checkBasePath(std::string_view basePath, std::string_view suffix)
{
    const std::string shown = "the base path \"" + std::string(basePath) + "\"";
    if (basePath.size() < 2 || basePath.front() != '/' || basePath.back() == '/' ||
        basePath.find("//") != std::string_view::npos) {
        throw std::invalid_argument(shown + " must look like \"/name" + std::string(suffix) +
                                    "\": a leading '/', non-empty segments, no trailing '/'");
    }
    if (basePath.find_first_of("?#{}* ") != std::string_view::npos) {
        throw std::invalid_argument(shown + " must not contain '?', '#', '{', '}', '*' or spaces");
    }
    const std::string_view lastSegment = basePath.substr(basePath.rfind('/') + 1);
    if (lastSegment.size() <= suffix.size() || lastSegment.substr(lastSegment.size() - suffix.size()) != suffix) {
        throw std::invalid_argument(shown + " must end in a segment like \"lithmar" + std::string(suffix) +
                                    "\": the suffix names the service");
    }
}

std::string siblingPath(std::string_view basePath, std::string_view fromSuffix, std::string_view toSuffix)
{
    checkBasePath(basePath, fromSuffix);
    return std::string(basePath.substr(0, basePath.size() - fromSuffix.size())) + std::string(toSuffix);
}

} // namespace lithmar::local
