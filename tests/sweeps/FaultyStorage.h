// A journal's storage that makes one of its calls fail, once or from then on.
#pragma once

#include "Faults.h"

#include "journal/Storage.h"

#include <memory>
#include <string>
#include <utility>

namespace test {

// A write that fails has written a half; every other call that fails has done nothing.
class FaultyStorage final : public journal::Storage {
public:
    FaultyStorage(std::unique_ptr<journal::Storage> healthy, std::shared_ptr<CallRecord> record)
        : healthy_(std::move(healthy)), record_(std::move(record)) {}

    std::string place() const override { return healthy_->place(); }
    std::string pathOf(std::string const & name) const override { return healthy_->pathOf(name); }

    std::uint32_t make() override {
        std::uint32_t const error = fails("make");
        return error != 0 ? error : healthy_->make();
    }
    journal::Result<journal::StoredFile> create(std::string const & name) override {
        if (std::uint32_t const error = fails("create")) {
            return {nullptr, error};
        }
        auto created = healthy_->create(name);
        if (created.file) {
            created.file = std::make_unique<Written>(std::move(created.file), record_);
        }
        return created;
    }
    journal::Result<journal::StoredBytes> open(std::string const & name) override {
        if (std::uint32_t const error = fails("open")) {
            return {nullptr, error};
        }
        auto opened = healthy_->open(name);
        if (opened.file) {
            opened.file = std::make_unique<ToRead>(std::move(opened.file), record_);
        }
        return opened;
    }
    std::uint32_t rename(std::string const & from, std::string const & to) override {
        std::uint32_t const error = fails("rename");
        return error != 0 ? error : healthy_->rename(from, to);
    }
    std::uint32_t remove(std::string const & name) override {
        std::uint32_t const error = fails("remove");
        return error != 0 ? error : healthy_->remove(name);
    }
    std::uint32_t removeAbandoned(std::string const & name) override {
        std::uint32_t const error = fails("remove");
        return error != 0 ? error : healthy_->removeAbandoned(name);
    }
    std::uint32_t syncNames() override {
        std::uint32_t const error = fails("sync names");
        return error != 0 ? error : healthy_->syncNames();
    }
    Names list() override {
        std::uint32_t const error = fails("list");
        return error != 0 ? Names{{}, error} : healthy_->list();
    }
    std::optional<std::uint64_t> room() override { return healthy_->room(); }

private:
    static std::uint32_t fails(CallRecord & record, char const * what) {
        return record.count(Call::Journal, std::string("journal: ") + what);
    }
    std::uint32_t fails(char const * what) { return fails(*record_, what); }

    class Written final : public journal::StoredFile {
    public:
        Written(std::unique_ptr<journal::StoredFile> healthy, std::shared_ptr<CallRecord> record)
            : healthy_(std::move(healthy)), record_(std::move(record)) {}
        std::uint32_t write(journal::Bytes bytes) override {
            if (std::uint32_t const error = fails(*record_, "write")) {
                healthy_->write(bytes.first(bytes.size() / 2));
                return error;
            }
            return healthy_->write(bytes);
        }
        std::uint32_t sync() override {
            std::uint32_t const error = fails(*record_, "sync");
            return error != 0 ? error : healthy_->sync();
        }

    private:
        std::unique_ptr<journal::StoredFile> healthy_;
        std::shared_ptr<CallRecord> record_;
    };

    class ToRead final : public journal::StoredBytes {
    public:
        ToRead(std::unique_ptr<journal::StoredBytes> healthy, std::shared_ptr<CallRecord> record)
            : healthy_(std::move(healthy)), record_(std::move(record)) {}
        std::uint64_t size() const override { return healthy_->size(); }
        std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
            std::uint32_t const error = fails(*record_, "read");
            return error != 0 ? error : healthy_->read(offset, buffer);
        }

    private:
        std::unique_ptr<journal::StoredBytes> healthy_;
        std::shared_ptr<CallRecord> record_;
    };

    std::unique_ptr<journal::Storage> healthy_;
    std::shared_ptr<CallRecord> record_;
};

} // namespace test
