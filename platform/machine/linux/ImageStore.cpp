#include "Descriptor.h"
#include "kernel/Files.h"
#include "machine/DiskStore.h"
#include "machine/Pages.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <fmt/format.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace machine {

namespace {

std::uint32_t windowsError(int error) {
    switch (error) {
    case ENODATA:
    case EILSEQ:
        return kernel::ERROR_CRC;
    case EROFS:
    case EPERM:
        return kernel::ERROR_WRITE_PROTECT;
    case EACCES:
        return kernel::ERROR_ACCESS_DENIED;
    case ENOMEDIUM:
        return kernel::ERROR_NO_MEDIA_IN_DRIVE;
    case ENXIO:
    case ENODEV:
    case ENOSPC: // of a block device that was unplugged
        return kernel::ERROR_DEVICE_NOT_CONNECTED;
    case EINVAL:
        return kernel::ERROR_INVALID_PARAMETER;
    default:
        return kernel::ERROR_IO_DEVICE;
    }
}

class ImageStore final : public DiskStore {
public:
    ImageStore(Descriptor file, std::uint64_t size, bool isDirect)
        : file_(std::move(file)), size_(size), isDirect_(isDirect) {}

    std::uint64_t size() const override { return size_; }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        if (isDirect_ && !isPageAligned(buffer.data())) {
            return readThroughPages(buffer, [&](std::span<std::byte> pages) { return read(offset, pages); });
        }
        return move(buffer.size(), [&](std::size_t done) {
            return ::pread(file_.get(), buffer.data() + done, buffer.size() - done, static_cast<off_t>(offset + done));
        });
    }

    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool durable) override {
        if (isDirect_ && !isPageAligned(bytes.data())) {
            return writeThroughPages(bytes,
                                     [&](std::span<std::byte const> pages) { return write(offset, pages, durable); });
        }
        return move(bytes.size(), [&](std::size_t done) {
            iovec const part{const_cast<std::byte *>(bytes.data()) + done, bytes.size() - done};
            return ::pwritev2(file_.get(), &part, 1, static_cast<off_t>(offset + done), durable ? RWF_DSYNC : 0);
        });
    }

    std::uint32_t flush() override {
        return ::fdatasync(file_.get()) == 0 ? kernel::ERROR_SUCCESS : windowsError(errno);
    }

private:
    template <class Move> static std::uint32_t move(std::size_t size, Move moveFrom) {
        for (std::size_t done = 0; done < size;) {
            ssize_t const moved = moveFrom(done);
            if (moved > 0) {
                done += static_cast<std::size_t>(moved);
            } else if (moved == 0) {
                return kernel::ERROR_DEVICE_NOT_CONNECTED; // the device ends before its size
            } else if (errno != EINTR) {
                return windowsError(errno);
            }
        }
        return kernel::ERROR_SUCCESS;
    }

    Descriptor const file_;
    std::uint64_t const size_;
    bool const isDirect_;
};

} // namespace

std::variant<std::unique_ptr<DiskStore>, std::string> openImage(std::string const & path, std::uint32_t sectorSize,
                                                                bool readOnly) {
    auto const because = [&path](int error) {
        return fmt::format("{} cannot be opened: {}", path, std::system_category().message(error));
    };
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return because(errno);
    }
    bool const isDevice = S_ISBLK(status.st_mode);
    if (!isDevice && !S_ISREG(status.st_mode)) {
        return fmt::format("{} is neither a file nor a block device", path);
    }
    // An exclusive open of a block device fails while it is mounted.
    int const flags = (readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC | (isDevice ? O_EXCL : 0);
    bool isDirect = true;
    int opened = ::open(path.c_str(), flags | O_DIRECT);
    if (opened < 0 && errno == EINVAL) {
        isDirect = false;
        opened = ::open(path.c_str(), flags);
    }
    Descriptor file(opened);
    if (!file.isValid()) {
        return errno == EBUSY ? fmt::format("{} is in use or mounted; unmount it first", path) : because(errno);
    }
    if (::flock(file.get(), (readOnly ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) {
        return fmt::format("{} is in use by another run", path);
    }
    if (isDevice) {
        int logical = 0;
        if (::ioctl(file.get(), BLKSSZGET, &logical) == 0 && std::cmp_greater(logical, sectorSize)) {
            return fmt::format("{} has sectors of {} bytes; the description needs \"sectorSize\": {}", path, logical,
                               logical);
        }
    }
    off_t const size = ::lseek(file.get(), 0, SEEK_END);
    if (size < 0) {
        return because(errno);
    }
    return std::make_unique<ImageStore>(std::move(file), static_cast<std::uint64_t>(size), isDirect);
}

} // namespace machine
