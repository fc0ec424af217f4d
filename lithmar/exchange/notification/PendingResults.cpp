#include <lithmar/exchange/notification/PendingResults.h>

namespace com::vantorel::lithmar {
namespace {

struct Table {
    std::mutex notificationLock;
    std::map<std::wstring, web::json::value> results;
};

// Never destroyed: a notification client's thread may still deliver while
// the process exits, after static destructors would have run.
Table& table()
{
    static Table* const instance = new Table;
    return *instance;
}

} // namespace

PendingResults::PendingResults() : m_lock(table().notificationLock) {}

PendingResults::~PendingResults() = default;

bool PendingResults::contains(const std::wstring& jobId) const
{
    return table().results.count(jobId) != 0;
}

const web::json::value& PendingResults::at(const std::wstring& jobId) const
{
    return table().results.at(jobId);
}

void PendingResults::erase(const std::wstring& jobId)
{
    table().results.erase(jobId);
}

void PendingResults::file(const std::wstring& jobId, web::json::value data)
{
    table().results[jobId] = std::move(data);
}

void PendingResults::clear()
{
    table().results.clear();
}

std::size_t PendingResults::size() const
{
    return table().results.size();
}

std::map<std::wstring, web::json::value> PendingResults::entries() const
{
    return table().results;
}

} // namespace com::vantorel::lithmar
