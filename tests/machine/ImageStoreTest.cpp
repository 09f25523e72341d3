// Images of disks: files that are read and written directly.
#include "ImageFile.h"
#include "machine/DiskStore.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <variant>

namespace {

constexpr std::size_t page = 4096;

struct alignas(page) Buffer {
    std::array<std::byte, 3 * page> bytes{};
};

std::unique_ptr<machine::DiskStore> opened(ImageFile const & image, bool readOnly = false) {
    auto result = machine::openImage(image.whole(), 512, readOnly);
    if (auto const * const wrong = std::get_if<std::string>(&result)) {
        throw std::runtime_error(*wrong);
    }
    return std::move(std::get<std::unique_ptr<machine::DiskStore>>(result));
}

// Why it cannot be opened; empty when it can.
std::string whyNot(std::string const & path, bool readOnly = false) {
    auto const result = machine::openImage(path, 512, readOnly);
    auto const * const wrong = std::get_if<std::string>(&result);
    return wrong == nullptr ? std::string() : *wrong;
}

class ImageStore : public testing::Test {
protected:
    ImageFile image_{16 * page, 'a'};
    Buffer bytes_;
};

TEST_F(ImageStore, HasTheSizeOfItsFile) {
    EXPECT_EQ(opened(image_)->size(), 16 * page);
}

TEST_F(ImageStore, ReadsWhatIsInTheFile) {
    auto const store = opened(image_);
    EXPECT_EQ(store->read(page, bytes_.bytes), 0U);
    EXPECT_TRUE(std::ranges::all_of(bytes_.bytes, [](std::byte byte) { return byte == std::byte{'a'}; }));
}

TEST_F(ImageStore, WritesGoToTheirPlaceInTheFile) {
    auto const store = opened(image_);
    bytes_.bytes.fill(std::byte{'b'});
    EXPECT_EQ(store->write(2 * page, bytes_.bytes, false), 0U);
    std::string const expected = std::string(2 * page, 'a') + std::string(3 * page, 'b') + std::string(11 * page, 'a');
    EXPECT_EQ(image_.contents(), expected);
    bytes_.bytes.fill({});
    EXPECT_EQ(store->read(2 * page, bytes_.bytes), 0U);
    EXPECT_EQ(bytes_.bytes[0], std::byte{'b'});
    EXPECT_EQ(bytes_.bytes[3 * page - 1], std::byte{'b'});
}

TEST_F(ImageStore, DurableWritesAreWritesToo) {
    auto const store = opened(image_);
    bytes_.bytes.fill(std::byte{'b'});
    EXPECT_EQ(store->write(0, bytes_.bytes, true), 0U);
    EXPECT_EQ(image_.contents(), std::string(3 * page, 'b') + std::string(13 * page, 'a'));
}

TEST_F(ImageStore, AFlushSucceeds) {
    auto const store = opened(image_);
    bytes_.bytes.fill(std::byte{'b'});
    EXPECT_EQ(store->write(0, bytes_.bytes, false), 0U);
    EXPECT_EQ(store->flush(), 0U);
    EXPECT_EQ(image_.contents(), std::string(3 * page, 'b') + std::string(13 * page, 'a'));
}

TEST_F(ImageStore, BuffersNeedNoAlignment) {
    auto const store = opened(image_);
    bytes_.bytes.fill(std::byte{'b'});
    for (std::size_t const shift : {1U, 512U, 4095U}) {
        EXPECT_EQ(store->write(shift / 512 * page, std::span(bytes_.bytes).subspan(shift, page), shift == 1), 0U);
        EXPECT_EQ(store->read(15 * page, std::span(bytes_.bytes).subspan(shift, page)), 0U);
        EXPECT_EQ(bytes_.bytes[shift - 1], std::byte{'b'});
        EXPECT_EQ(bytes_.bytes[shift], std::byte{'a'});
        EXPECT_EQ(bytes_.bytes[shift + page - 1], std::byte{'a'});
        EXPECT_EQ(bytes_.bytes[shift + page], std::byte{'b'});
        bytes_.bytes.fill(std::byte{'b'});
    }
    std::string const contents = image_.contents();
    EXPECT_EQ(contents.size(), 16 * page);
    EXPECT_EQ(std::ranges::count(contents, 'b'), static_cast<std::ptrdiff_t>(3 * page));
}

TEST_F(ImageStore, AFailedReadLeavesTheBufferAlone) {
    auto const store = opened(image_);
    std::error_code refused;
    std::filesystem::resize_file(image_.path(), page, refused);
    if (refused) {
        GTEST_SKIP() << "this system keeps a file that is open from shrinking";
    }
    bytes_.bytes.fill(std::byte{'b'});
    EXPECT_EQ(store->read(8 * page, std::span(bytes_.bytes).subspan(512, page)), 1167U); // as of a disk that has gone
    EXPECT_TRUE(std::ranges::all_of(bytes_.bytes, [](std::byte byte) { return byte == std::byte{'b'}; }));
    EXPECT_EQ(store->read(8 * page, std::span(bytes_.bytes).first(page)), 1167U);
}

TEST_F(ImageStore, IsOpenedForOneRunAlone) {
    auto store = opened(image_);
    EXPECT_EQ(whyNot(image_.whole()), image_.whole() + " is in use by another run");
    EXPECT_EQ(whyNot(image_.whole(), true), image_.whole() + " is in use by another run");
    store.reset();
    EXPECT_EQ(whyNot(image_.whole()), "");
}

TEST_F(ImageStore, MayHaveManyReaders) {
    auto const store = opened(image_, true);
    EXPECT_EQ(whyNot(image_.whole(), true), "");
    EXPECT_EQ(whyNot(image_.whole(), false), image_.whole() + " is in use by another run");
}

TEST_F(ImageStore, OfAReaderIsNotWritten) {
    auto const store = opened(image_, true);
    EXPECT_EQ(store->read(0, bytes_.bytes), 0U);
    EXPECT_NE(store->write(0, bytes_.bytes, false), 0U);
    EXPECT_EQ(image_.contents(), std::string(16 * page, 'a'));
}

TEST_F(ImageStore, OfNothingIsRefused) {
    EXPECT_EQ(whyNot(image_.whole() + ".not"), image_.whole() + ".not cannot be opened: No such file or directory");
}

TEST_F(ImageStore, OfAFolderIsRefused) {
    std::string const folder = ImageFile::folder().string();
    EXPECT_EQ(whyNot(folder), folder + " is neither a file nor a block device");
}

} // namespace
