// A file that the program writes beside its standard output.
#pragma once

#include <fstream>
#include <string>

namespace tkit5 {

class OutputFile {
public:
    explicit OutputFile(std::string name); // UTF-8; created if it does not exist, else left as it is until begin()

    void begin(); // empties it: what is written from here on is all that it holds

    bool isOpen() const { return stream_.is_open(); }
    std::string const & name() const { return name_; }
    std::ostream & stream() { return stream_; }
    bool close(); // false when something could not be written

private:
    std::string name_;
    std::ofstream stream_;
};

// Whether both names lead to one file, whether it exists already or not.
bool isSameFile(std::string const & a, std::string const & b);

} // namespace tkit5
