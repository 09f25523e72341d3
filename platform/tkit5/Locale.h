// The texts behind the keys, in one language.
#pragma once

#include "Registry.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tkit5 {

class Locale {
public:
    // The language of a tag such as "de" or "de-AT", the nearest there is; English for one without texts.
    static Locale forLanguage(std::string_view tag);
    static bool isKnown(std::string_view tag);   // whether it leads to texts of its own language
    static std::vector<std::string> languages(); // tags with texts, English first

    // The texts of one file: {"language": "en", "name": "English", "texts": {"KEY": "text with {variable}"}}. Throws a
    // TkitException that says what is wrong with a file of another form.
    static Locale fromFile(std::string_view name, std::string_view contents);

    std::string const & language() const { return language_; }

    // The key's text with "{name}" replaced by each variable's value. A part in square brackets is left out when a
    // variable in it was never set; elsewhere such a variable stays as it is written. A key without a text gives the
    // key itself.
    std::string resolve(std::string const & key, Variables const & variables) const;

    std::map<std::string, std::string> const & texts() const { return texts_; } // as written, by key

private:
    std::string language_;
    std::map<std::string, std::string> texts_;
};

} // namespace tkit5
