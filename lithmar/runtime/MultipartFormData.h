#pragma once

#include <lithmar/runtime/HttpContent.h>
#include <lithmar/runtime/IHttpBody.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace com::vantorel::lithmar {

// A multipart/form-data body (RFC 7578): parts in the order they were added,
// found by name. As a request body it streams: each part's data is read in
// chunks while the body is sent, and the length is known up front whenever
// every part's stream can seek, so files go out with a Content-Length and are
// never held in memory.
class LITHMAR_RUNTIME_EXPORT MultipartFormData : public IHttpBody {
public:
    // Chooses a random boundary.
    MultipartFormData();
    explicit MultipartFormData(const std::wstring& boundary);
    ~MultipartFormData() override;

    virtual void add(std::shared_ptr<HttpContent> content);
    virtual bool hasContent(const std::wstring& name) const;
    // The first part added under `name`, or null when there is none.
    virtual std::shared_ptr<HttpContent> getContent(const std::wstring& name);
    virtual std::wstring getBoundary();

    void writeTo(std::ostream& stream) override;
    std::unique_ptr<BodyReader> openReader() override;

    const std::vector<std::shared_ptr<HttpContent>>& parts() const;

private:
    std::wstring m_boundary;
    std::vector<std::shared_ptr<HttpContent>> m_parts;
    std::unordered_map<std::wstring, std::shared_ptr<HttpContent>> m_byName;
};

} // namespace com::vantorel::lithmar
