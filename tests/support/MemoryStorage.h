// A journal's storage in memory: it counts its calls, fails when it is told to, and knows what a loss of power leaves.
#pragma once

#include "journal/Storage.h"
#include "kernel/Files.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace support {

// What a loss of power leaves of what was not synced.
struct Remains {
    bool names = false;              // renames, creations and removals; else those of the last sync
    std::optional<std::size_t> data; // bytes of each file; empty: what its last sync left
};

// Shared with the storages that are made from it, so that it outlives them as a disk outlives a process.
class MemoryDisk {
public:
    int calls = 0;                // so far
    std::optional<int> failsFrom; // the n-th call, from 1
    std::optional<int> failsTo;   // and the last that fails; empty: for good
    std::string failing;          // every call of that name fails, too
    std::uint32_t error = 1117;
    std::function<void()> beforeCreate; // called once: what another process does after the names were listed
    std::function<void()> beforeRemove; // called once: what another process does or sees then
    std::optional<std::uint64_t> room = std::uint64_t{1} << 40U;
    std::vector<std::string> done; // "create a", "write a", "sync a", "rename a b", "remove a", "syncNames"

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (auto const & [name, file] : names_) {
            all.push_back(name);
        }
        return all;
    }
    std::vector<std::byte> & contents(std::string const & name) { return names_.at(name)->now; }
    void put(std::string const & name, std::vector<std::byte> bytes) {
        auto file = std::make_shared<File>();
        file->safe = bytes;
        file->now = std::move(bytes);
        names_[name] = file;
        safeNames_[name] = file;
    }

    void losePower(Remains const & remains) {
        if (!remains.names) {
            names_ = safeNames_;
        }
        for (auto & [name, file] : names_) {
            if (!remains.data) {
                file->now = file->safe;
            } else if (*remains.data < file->now.size() && file->now != file->safe) {
                file->now.resize(std::max(*remains.data, file->safe.size()));
            }
            file->safe = file->now;
            file->isWritten = false;
        }
        safeNames_ = names_;
    }

private:
    friend class MemoryStorage;
    struct File {
        std::vector<std::byte> now;
        std::vector<std::byte> safe;
        bool isWritten = false;
    };

    // 0 when the call may go on.
    std::uint32_t count(std::string const & what) {
        ++calls;
        if ((failsFrom && calls >= *failsFrom && calls <= failsTo.value_or(calls)) ||
            (!failing.empty() && what.starts_with(failing))) {
            return error;
        }
        done.push_back(what);
        return kernel::ERROR_SUCCESS;
    }

    std::map<std::string, std::shared_ptr<File>> names_;
    std::map<std::string, std::shared_ptr<File>> safeNames_;
};

class MemoryStorage final : public journal::Storage {
public:
    explicit MemoryStorage(std::shared_ptr<MemoryDisk> disk) : disk_(std::move(disk)) {}

    std::string place() const override { return "memory"; }
    std::string pathOf(std::string const & name) const override { return "memory/" + name; }

    std::uint32_t make() override { return disk_->count("make"); }

    journal::Result<journal::StoredFile> create(std::string const & name) override {
        if (auto const meanwhile = std::exchange(disk_->beforeCreate, nullptr)) {
            meanwhile();
        }
        if (std::uint32_t const error = disk_->count("create " + name); error != 0) {
            return {nullptr, error};
        }
        if (disk_->names_.contains(name)) {
            return {nullptr, journal::fileExists};
        }
        auto file = std::make_shared<MemoryDisk::File>();
        file->isWritten = true;
        disk_->names_[name] = file;
        return {std::make_unique<Written>(disk_, file, name), 0};
    }

    journal::Result<journal::StoredBytes> open(std::string const & name) override {
        if (std::uint32_t const error = disk_->count("open " + name); error != 0) {
            return {nullptr, error};
        }
        auto const found = disk_->names_.find(name);
        if (found == disk_->names_.end()) {
            return {nullptr, kernel::ERROR_FILE_NOT_FOUND};
        }
        if (found->second->isWritten) {
            return {nullptr, kernel::ERROR_SHARING_VIOLATION};
        }
        return {std::make_unique<ToRead>(disk_, found->second, name), 0};
    }

    std::uint32_t rename(std::string const & from, std::string const & to) override {
        std::uint32_t const error = disk_->count("rename " + from + " " + to);
        if (error == 0 && disk_->names_.contains(to)) {
            return journal::fileExists;
        }
        if (error == 0) {
            disk_->names_[to] = disk_->names_.at(from);
            disk_->names_.erase(from);
        }
        return error;
    }

    std::uint32_t remove(std::string const & name) override {
        beginRemoval();
        return erase(name);
    }

    std::uint32_t removeAbandoned(std::string const & name) override {
        beginRemoval();
        auto const found = disk_->names_.find(name);
        bool const isWritten = found != disk_->names_.end() && found->second->isWritten;
        return isWritten ? kernel::ERROR_SHARING_VIOLATION : erase(name);
    }

    std::uint32_t syncNames() override {
        std::uint32_t const error = disk_->count("syncNames");
        if (error == 0) {
            disk_->safeNames_ = disk_->names_;
        }
        return error;
    }

    Names list() override {
        std::uint32_t const error = disk_->count("list");
        return error == 0 ? Names{disk_->names(), 0} : Names{{}, error};
    }

    std::optional<std::uint64_t> room() override { return disk_->room; }

private:
    void beginRemoval() {
        if (auto const meanwhile = std::exchange(disk_->beforeRemove, nullptr)) {
            meanwhile();
        }
    }

    std::uint32_t erase(std::string const & name) {
        std::uint32_t const error = disk_->count("remove " + name);
        return error == 0 && disk_->names_.erase(name) == 0 ? kernel::ERROR_FILE_NOT_FOUND : error;
    }

    class Written final : public journal::StoredFile {
    public:
        Written(std::shared_ptr<MemoryDisk> disk, std::shared_ptr<MemoryDisk::File> file, std::string name)
            : disk_(std::move(disk)), file_(std::move(file)), name_(std::move(name)) {}
        Written(Written const &) = delete;
        Written & operator=(Written const &) = delete;
        ~Written() override { file_->isWritten = false; }

        std::uint32_t write(journal::Bytes bytes) override {
            std::uint32_t const error = disk_->count("write " + name_);
            if (error == 0) {
                file_->now.insert(file_->now.end(), bytes.begin(), bytes.end());
            }
            return error;
        }
        std::uint32_t sync() override {
            std::uint32_t const error = disk_->count("sync " + name_);
            if (error == 0) {
                file_->safe = file_->now;
            }
            return error;
        }

    private:
        std::shared_ptr<MemoryDisk> disk_;
        std::shared_ptr<MemoryDisk::File> file_;
        std::string name_;
    };

    class ToRead final : public journal::StoredBytes {
    public:
        ToRead(std::shared_ptr<MemoryDisk> disk, std::shared_ptr<MemoryDisk::File> file, std::string name)
            : disk_(std::move(disk)), file_(std::move(file)), name_(std::move(name)) {}

        std::uint64_t size() const override { return file_->now.size(); }
        std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
            std::uint32_t const error = disk_->count("read " + name_);
            if (error != 0) {
                return error;
            }
            if (offset + buffer.size() > file_->now.size()) {
                return kernel::ERROR_HANDLE_EOF;
            }
            std::copy_n(file_->now.begin() + static_cast<std::ptrdiff_t>(offset), buffer.size(), buffer.begin());
            return 0;
        }

    private:
        std::shared_ptr<MemoryDisk> disk_;
        std::shared_ptr<MemoryDisk::File> file_;
        std::string name_;
    };

    std::shared_ptr<MemoryDisk> disk_;
};

} // namespace support
