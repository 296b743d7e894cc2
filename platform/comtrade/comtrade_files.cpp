// Reading a record's files. Every file is read only when it lies below the
// wave folder: a companion (.dat, .hdr, .inf) or the folder's code-page file
// may be a link, and a link must not lead a client to files elsewhere.
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "comtrade_internal.h"

namespace toolkit {
namespace ct {
namespace {

// Opens real path `real` (checked below `root`) and makes sure the file
// opened is the one found there: a folder on the way swapped for a link
// between the check and the open shows as another file.
FileRead openChecked(const std::string& real, const std::string& root, int& fd) {
    fd = ::open(real.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW);
    if (fd < 0) return errno == ENOENT ? FileRead::Missing : FileRead::Unreadable;
    struct stat opened, found;
    std::string again;
    if (::fstat(fd, &opened) == 0 && realPath(real, again) && isBelow(again, root) &&
        ::stat(again.c_str(), &found) == 0 && found.st_dev == opened.st_dev &&
        found.st_ino == opened.st_ino)
        return FileRead::Ok;
    ::close(fd);
    fd = -1;
    return FileRead::Outside;
}

}  // namespace

bool realPath(const std::string& path, std::string& out) {
    char buf[PATH_MAX];
    if (::realpath(path.c_str(), buf) == nullptr) return false;
    out = buf;
    return true;
}

bool isBelow(const std::string& real, const std::string& root) {
    std::string prefix = root == "/" ? root : root + "/";
    return real.size() > prefix.size() && real.compare(0, prefix.size(), prefix) == 0;
}

FileRead readBelow(const std::string& path, const std::string& root, size_t limit,
                   std::vector<char>& out) {
    out.clear();
    std::string real;
    if (!realPath(path, real)) return errno == ENOENT ? FileRead::Missing : FileRead::Outside;
    if (!isBelow(real, root)) return FileRead::Outside;
    int fd;
    FileRead status = openChecked(real, root, fd);
    if (status != FileRead::Ok) return status;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || uint64_t(st.st_size) > limit) {
        ::close(fd);
        return FileRead::Unreadable;
    }
    out.resize(size_t(st.st_size));
    size_t got = 0;
    while (got < out.size()) {
        ssize_t n = ::read(fd, out.data() + got, out.size() - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += size_t(n);
    }
    ::close(fd);
    out.resize(got);  // a file that shrank while read is just shorter
    return got == 0 && st.st_size > 0 ? FileRead::Unreadable : FileRead::Ok;
}

}  // namespace ct
}  // namespace toolkit
