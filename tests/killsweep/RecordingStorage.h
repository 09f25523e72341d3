// A journal's storage that records every call that is made to it. What a call has changed is recorded once it is there.
#pragma once

#include "Record.h"

#include "journal/Storage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace killsweep {

class RecordingStorage final : public journal::Storage {
public:
    RecordingStorage(std::unique_ptr<journal::Storage> recorded, Record & record)
        : recorded_(std::move(recorded)), record_(record) {}

    std::string place() const override { return recorded_->place(); }
    std::string pathOf(std::string const & name) const override { return recorded_->pathOf(name); }

    std::uint32_t make() override {
        record_.call("make the journal's place");
        return recorded_->make();
    }
    journal::Result<journal::StoredFile> create(std::string const & name) override {
        record_.call("create " + name);
        journal::Result<journal::StoredFile> created = recorded_->create(name);
        if (created.file) {
            record_.add({.kind = Step::Kind::FileCreate, .call = name + " is created", .file = name});
            created.file = std::make_unique<RecordedFile>(std::move(created.file), record_, name);
        }
        return created;
    }
    journal::Result<journal::StoredBytes> open(std::string const & name) override {
        record_.call("open " + name);
        return recorded_->open(name);
    }
    std::uint32_t rename(std::string const & from, std::string const & to) override {
        return changed(recorded_->rename(from, to),
                       {.kind = Step::Kind::FileRename, .call = from + " is renamed", .file = from, .newName = to});
    }
    std::uint32_t remove(std::string const & name) override {
        return changed(recorded_->remove(name),
                       {.kind = Step::Kind::FileRemove, .call = name + " is removed", .file = name});
    }
    std::uint32_t removeAbandoned(std::string const & name) override {
        return changed(recorded_->removeAbandoned(name),
                       {.kind = Step::Kind::FileRemove, .call = name + " is removed", .file = name});
    }
    std::uint32_t syncNames() override {
        return changed(recorded_->syncNames(), {.kind = Step::Kind::NamesSync, .call = "names are synced"});
    }
    Names list() override {
        record_.call("list the journal");
        return recorded_->list();
    }
    std::optional<std::uint64_t> room() override { return recorded_->room(); }

private:
    // The name that a file had when it was created stands for it, also after a rename.
    class RecordedFile final : public journal::StoredFile {
    public:
        RecordedFile(std::unique_ptr<journal::StoredFile> recorded, Record & record, std::string name)
            : recorded_(std::move(recorded)), record_(record), name_(std::move(name)) {}

        std::uint32_t write(journal::Bytes bytes) override {
            std::uint32_t const error = recorded_->write(bytes);
            if (error == 0) {
                record_.add({.kind = Step::Kind::FileWrite,
                             .call = name_ + " is written",
                             .file = name_,
                             .bytes = copyOf(bytes)});
            }
            return error;
        }
        std::uint32_t sync() override {
            std::uint32_t const error = recorded_->sync();
            if (error == 0) {
                record_.add({.kind = Step::Kind::FileSync, .call = name_ + " is synced", .file = name_});
            }
            return error;
        }

    private:
        std::unique_ptr<journal::StoredFile> recorded_;
        Record & record_;
        std::string name_;
    };

    std::uint32_t changed(std::uint32_t error, Step step) {
        if (error == 0) {
            record_.add(std::move(step));
        }
        return error;
    }

    std::unique_ptr<journal::Storage> recorded_;
    Record & record_;
};

} // namespace killsweep
