#pragma once

#include <lithmar/runtime/IHttpBody.h>

#include <cpprest/json.h>

namespace com::vantorel::lithmar {

class LITHMAR_RUNTIME_EXPORT JsonBody : public IHttpBody {
public:
    explicit JsonBody(const web::json::value& json);
    ~JsonBody() override;

    void writeTo(std::ostream& stream) override;
    std::unique_ptr<BodyReader> openReader() override;


private:
    web::json::value m_json;
};

} // namespace com::vantorel::lithmar
