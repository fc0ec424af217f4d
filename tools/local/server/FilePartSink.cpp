#include <tools/local/server/FilePartSink.h>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace lithmar::local {
namespace {

std::system_error lastError(const std::string& what)
{
    return std::system_error(errno, std::generic_category(), what);
}

} // namespace

FilePartSink::FilePartSink(std::string path) : m_path(std::move(path))
{
    m_fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (m_fd < 0) {
        throw lastError("cannot create " + m_path);
    }
}

FilePartSink::~FilePartSink()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
    if (!m_committed) {
        ::unlink(m_path.c_str());
    }
}

void FilePartSink::write(std::string_view data)
{
    while (!data.empty()) {
        const ssize_t written = ::write(m_fd, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw lastError("cannot write " + m_path);
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string FilePartSink::commit()
{
    const int fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0) {
        throw lastError("cannot write " + m_path);
    }
    m_committed = true;
    return m_path;
}

} // namespace lithmar::local
