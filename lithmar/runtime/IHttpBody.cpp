#include <lithmar/runtime/IHttpBody.h>

#include <lithmar/runtime/detail/StringBodyReader.h>

#include <sstream>

namespace com::vantorel::lithmar {

BodyReader::~BodyReader() = default;
IHttpBody::~IHttpBody() = default;

std::unique_ptr<BodyReader> IHttpBody::openReader()
{
    std::ostringstream rendered;
    writeTo(rendered);
    return std::make_unique<detail::StringBodyReader>(std::move(rendered).str());
}

} // namespace com::vantorel::lithmar
