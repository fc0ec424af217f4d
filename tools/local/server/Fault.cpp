#include <tools/local/server/Fault.h>

namespace lithmar::local {

Fault Fault::respond(Response response)
{
    Fault fault;
    fault.kind = Kind::Respond;
    fault.response = std::move(response);
    return fault;
}

Fault Fault::delay(std::chrono::milliseconds pause)
{
    Fault fault;
    fault.pause = pause;
    return fault;
}

Fault Fault::close()
{
    Fault fault;
    fault.kind = Kind::CloseWithoutAnswer;
    return fault;
}

Fault Fault::closeBeforeBody()
{
    Fault fault;
    fault.kind = Kind::CloseBeforeReadingBody;
    return fault;
}

Fault Fault::closeAfterBodyBytes(std::uint64_t n)
{
    Fault fault;
    fault.kind = Kind::CloseAfterBodyBytes;
    fault.bodyBytes = n;
    return fault;
}

Fault Fault::garbage(std::string bytes)
{
    Fault fault;
    fault.kind = Kind::SendRaw;
    fault.bytes = std::move(bytes);
    return fault;
}

Fault Fault::after(std::chrono::milliseconds stall) const
{
    Fault delayed = *this;
    delayed.pause = stall;
    return delayed;
}

} // namespace lithmar::local
