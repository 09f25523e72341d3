// Folders for backups other than the usual one: notes in the usual one, so that later commands look there, too.
//
// A run that keeps its backups elsewhere notes the folder before it overwrites anything, and takes the note back when
// it owes nothing. Until then the file of the note stays open, so that nobody takes it for that of a run that was cut
// short. A folder that looks empty may lie on a disk that is not connected, so that alone gives up no note.
#pragma once

#include "journal/Storage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

// The form in which a folder is noted: absolute, without links and dots as far as it exists. UTF-8, as the folder.
std::string absoluteFolder(std::string const & folder);
bool isSameFolder(std::string const & a, std::string const & b);

// What the file of a complete note is about; empty for any other file, such as a damaged one.
std::optional<std::string> folderOfNote(std::string const & name, std::string const & contents);

// A note of a run that goes on.
struct OpenNote {
    std::string name; // of its file
    std::unique_ptr<journal::StoredFile> file;
};

// Makes the place of the storage. When it returns without an error, a loss of power leaves the note where it is. Errors
// are the storage's.
struct Noted {
    std::optional<OpenNote> note;
    std::uint32_t error = 0;
};
Noted noteFolder(journal::Storage & usual, std::string const & folder);

// The error tells that the note may still be there.
std::uint32_t takeBack(journal::Storage & usual, OpenNote note);

// The notes of runs that are gone.
struct FolderNotes {
    struct Note {
        std::string name;
        std::string folder;
    };
    std::vector<Note> notes;             // by name
    std::vector<std::string> damaged;    // names
    std::vector<std::string> unfinished; // names; nothing was overwritten before they were complete
    std::string unread;                  // the name of a note that cannot be read now; empty: the list
    std::uint32_t error = 0;             // of that one, or of the list
};
FolderNotes folderNotes(journal::Storage & usual);

// Those that cannot be removed do no harm.
void removeUnfinished(journal::Storage & usual, FolderNotes const & notes);

// Gives up those of the notes that are about this folder. The error tells that some of them may still be there; it may
// be that of the notes themselves.
std::uint32_t forgetFolder(journal::Storage & usual, FolderNotes const & notes, std::string const & folder);

} // namespace tkit5
