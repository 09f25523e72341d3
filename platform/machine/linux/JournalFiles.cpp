// Files of a journal: durable, locked as long as they are written, renamed at once.
#include "Descriptor.h"
#include "JournalErrors.h"
#include "journal/FolderFiles.h"
#include "kernel/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

namespace journal {

namespace {

namespace fs = std::filesystem;
using machine::Descriptor;

constexpr std::uint32_t diskFull = 112;
constexpr std::uint32_t tooLong = 206;

std::uint32_t fromErrno(int error) {
    switch (error) {
    case ENOENT:
        return kernel::ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return kernel::ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
        return kernel::ERROR_ACCESS_DENIED;
    case EROFS:
        return kernel::ERROR_WRITE_PROTECT;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return diskFull;
    case EEXIST:
        return fileExists;
    case ENAMETOOLONG:
        return tooLong;
    case EWOULDBLOCK:
        return kernel::ERROR_SHARING_VIOLATION;
    case ENOMEM:
        return kernel::ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
        return kernel::ERROR_INVALID_PARAMETER;
    default:
        return kernel::ERROR_IO_DEVICE;
    }
}

class WrittenFile final : public StoredFile {
public:
    explicit WrittenFile(Descriptor file) : file_(std::move(file)) {}

    std::uint32_t write(Bytes bytes) override {
        while (!bytes.empty()) {
            ssize_t const written = ::write(file_.get(), bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR) {
                return fromErrno(errno);
            }
            bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return kernel::ERROR_SUCCESS;
    }

    std::uint32_t sync() override { return ::fsync(file_.get()) == 0 ? kernel::ERROR_SUCCESS : fromErrno(errno); }

private:
    Descriptor const file_;
};

class ReadFile final : public StoredBytes {
public:
    ReadFile(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

    std::uint64_t size() const override { return size_; }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        while (!buffer.empty()) {
            ssize_t const read = ::pread(file_.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
            if (read == 0) {
                return kernel::ERROR_HANDLE_EOF;
            }
            if (read < 0 && errno != EINTR) {
                return fromErrno(errno);
            }
            auto const moved = static_cast<std::size_t>(std::max<ssize_t>(read, 0));
            buffer = buffer.subspan(moved);
            offset += moved;
        }
        return kernel::ERROR_SUCCESS;
    }

private:
    Descriptor const file_;
    std::uint64_t const size_;
};

// The first line of a file of sysfs; empty without one.
std::string lineOf(fs::path const & file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::string numberOf(dev_t device) {
    return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

// The block device that is mounted under a number that is no block device's: some file systems number themselves.
std::string sourceOf(std::string const & number) {
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        // mount, parent, number, root, place, options, others ..., "-", type, source, more options
        std::istringstream words(line);
        std::string mount, parent, found, word;
        words >> mount >> parent >> found;
        if (found != number) {
            continue;
        }
        while (words >> word && word != "-") {
        }
        std::string type, source;
        words >> type >> source;
        struct stat status {};
        if (::stat(source.c_str(), &status) == 0 && S_ISBLK(status.st_mode)) {
            return numberOf(status.st_rdev);
        }
    }
    return {};
}

// Which block devices and files a file system lies on: a partition on its disk, a mapped device on others, a loop
// device on a file and on whatever that lies on.
class Foundations {
public:
    void addFileSystem(dev_t device) {
        add(numberOf(device));
        add(sourceOf(numberOf(device)));
    }

    void addFile(fs::path const & path) {
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0) {
            files_.emplace(status.st_dev, status.st_ino);
            addFileSystem(status.st_dev);
        }
    }

    bool contain(std::string const & path) const {
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0) {
            return false;
        }
        return S_ISBLK(status.st_mode) ? devices_.contains(numberOf(status.st_rdev))
                                       : files_.contains({status.st_dev, status.st_ino});
    }

private:
    void add(std::string const & number) {
        if (number.empty() || !devices_.insert(number).second) {
            return;
        }
        std::error_code failure;
        fs::path const device = fs::canonical("/sys/dev/block/" + number, failure);
        if (failure) {
            return; // no block device: a file system of memory or of the network
        }
        if (fs::exists(device / "partition", failure)) {
            add(lineOf(device.parent_path() / "dev"));
        }
        for (fs::directory_iterator each(device / "slaves", failure), end; !failure && each != end;
             each.increment(failure)) {
            add(lineOf(each->path() / "dev"));
        }
        if (std::string const backing = lineOf(device / "loop" / "backing_file"); !backing.empty()) {
            addFile(backing);
        }
    }

    std::set<std::string> devices_;
    std::set<std::pair<dev_t, ino_t>> files_;
};

// A second name for the file, which fails where that one is taken, and then the first one goes. Only where files have
// no second names, somebody may come between the look and the rename.
int renameByLink(fs::path const & from, fs::path const & to) {
    if (::link(from.c_str(), to.c_str()) == 0) {
        if (::unlink(from.c_str()) == 0) {
            return 0;
        }
        int const error = errno;
        ::unlink(to.c_str());
        errno = error;
        return -1;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) {
        return -1;
    }
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return errno == ENOENT ? std::rename(from.c_str(), to.c_str()) : -1;
}

// Opening a file and locking it are two calls, and what another process does in between leaves an open file without a
// name. 0 when this one still has its name, 32 when another file has that, 2 when none has.
std::uint32_t findUnder(fs::path const & path, Descriptor const & file) {
    struct stat named {};
    struct stat open {};
    if (::stat(path.c_str(), &named) != 0 || ::fstat(file.get(), &open) != 0) {
        return fromErrno(errno);
    }
    bool const isSame = named.st_dev == open.st_dev && named.st_ino == open.st_ino;
    return isSame ? kernel::ERROR_SUCCESS : kernel::ERROR_SHARING_VIOLATION;
}

} // namespace

Result<StoredFile> createFile(fs::path const & path) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isValid()) {
        return {nullptr, fromErrno(errno)};
    }
    if (::flock(file.get(), LOCK_EX) != 0) {
        return {nullptr, fromErrno(errno)};
    }
    // Who looks for abandoned files may have removed it when it was not locked yet, and another process have taken its
    // name. That name is left to others.
    std::uint32_t const error = findUnder(path, file);
    if (error == kernel::ERROR_FILE_NOT_FOUND || error == kernel::ERROR_SHARING_VIOLATION) {
        return {nullptr, fileExists};
    }
    if (error != kernel::ERROR_SUCCESS) {
        return {nullptr, error};
    }
    return {std::make_unique<WrittenFile>(std::move(file)), kernel::ERROR_SUCCESS};
}

Result<StoredBytes> openFile(fs::path const & path) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file.isValid() || ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 || ::fstat(file.get(), &status) != 0) {
        return {nullptr, fromErrno(errno)};
    }
    if (std::uint32_t const error = findUnder(path, file); error != kernel::ERROR_SUCCESS) {
        return {nullptr, error}; // given up before it was locked here
    }
    return {std::make_unique<ReadFile>(std::move(file), static_cast<std::uint64_t>(status.st_size)),
            kernel::ERROR_SUCCESS};
}

std::uint32_t renameFile(fs::path const & from, fs::path const & to) {
    int failed = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (failed != 0 && (errno == EINVAL || errno == ENOSYS)) { // a file system that knows no such request
        failed = renameByLink(from, to);
    }
    return failed == 0 ? kernel::ERROR_SUCCESS : fromErrno(errno);
}

std::uint32_t removeFile(fs::path const & path) {
    return ::unlink(path.c_str()) == 0 ? kernel::ERROR_SUCCESS : fromErrno(errno);
}

// Whoever has created the file may be about to lock it, and sees then that it has gone.
std::uint32_t removeAbandonedFile(fs::path const & path) {
    Descriptor const file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file.isValid() || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        return fromErrno(errno);
    }
    std::uint32_t const error = findUnder(path, file);
    return error == kernel::ERROR_SUCCESS ? removeFile(path) : error;
}

std::uint32_t syncFolder(fs::path const & folder) {
    Descriptor const opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened.isValid() && ::fsync(opened.get()) == 0 ? kernel::ERROR_SUCCESS : fromErrno(errno);
}

std::uint32_t windowsError(std::error_code const & error) {
    return fromErrno(error.value());
}

FolderPlace placeOfExisting(fs::path const & folder, std::string const & backing) {
    constexpr auto tmpfs = 0x01021994;
    constexpr auto ramfs = 0x858458F6;
    FolderPlace place;
    struct statfs system {};
    if (::statfs(folder.c_str(), &system) == 0) {
        auto const type = static_cast<unsigned long>(system.f_type);
        place.inMemory = type == tmpfs || type == ramfs;
    }
    struct stat status {};
    if (!backing.empty() && ::stat(folder.c_str(), &status) == 0) {
        Foundations below;
        below.addFileSystem(status.st_dev);
        place.onDisk = below.contain(backing);
    }
    return place;
}

} // namespace journal
