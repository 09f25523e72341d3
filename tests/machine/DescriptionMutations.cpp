#include "DescriptionMutations.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string_view>

namespace mutations {

namespace {

using Pointer = Json::json_pointer;

template <class Values> auto const & oneOf(Values const & values, Random & random) {
    return *std::next(values.begin(), static_cast<std::ptrdiff_t>(random() % values.size()));
}

// Every value below and the whole, with its place.
void collect(Json const & value, Pointer const & place, std::vector<Pointer> & places) {
    places.push_back(place);
    if (value.is_object()) {
        for (auto const & [name, member] : value.items()) {
            collect(member, place / name, places);
        }
    } else if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            collect(value[i], place / i, places);
        }
    }
}

std::vector<Pointer> placesIn(Json const & description) {
    std::vector<Pointer> places;
    collect(description, Pointer(), places);
    return places;
}

// The member that a value belongs to: its own name, or for an element of an array that of the array.
std::string memberOf(Pointer place) {
    if (place.empty()) {
        return "";
    }
    std::string const last = place.back();
    bool const isElement = std::ranges::all_of(last, [](char c) { return c >= '0' && c <= '9'; });
    return isElement ? place.parent_pointer().back() : last;
}

// A value of a type that is nowhere allowed instead of that of the value.
Json otherType(Json const & value, Random & random) {
    std::vector<Json> others{nullptr};
    if (!value.is_object()) {
        others.push_back(Json::object());
    }
    if (!value.is_array()) {
        others.push_back(Json::array());
    }
    if (!value.is_boolean()) {
        others.emplace_back(true);
    }
    if (value.is_boolean() || value.is_structured()) {
        others.emplace_back(1);
        others.emplace_back("true");
    }
    return oneOf(others, random);
}

// What has to be there, by the member that the object belongs to.
std::map<std::string, std::vector<std::string>> const required{{"", {"name", "controllers"}},
                                                               {"controllers", {"instanceId", "rootHub"}},
                                                               {"rootHub", {"portCount"}},
                                                               {"hub", {"instanceId", "portCount"}},
                                                               {"ports", {"port", "protocols", "speed"}},
                                                               {"device", {"instanceId"}},
                                                               {"nodes", {"instanceId"}},
                                                               {"disk", {"instanceId"}},
                                                               {"faults", {"query", "call"}},
                                                               {"mediaChanges", {"media"}},
                                                               {"volumes", {"firstSector", "sectorCount"}}};

std::set<std::string> const wordMembers{"source",   "timing", "answers", "call",       "query",
                                        "speed",    "status", "media",   "encryption", "defaultProtocols",
                                        "protocols"};

std::string textOf(Json const & description) {
    return description.dump(1);
}

// A text in the place of what the JSON library does not write.
constexpr char const * standIn = "@stands in for another@";

// Where it was.
std::size_t fillIn(std::string & text, std::string const & other) {
    std::string const quoted = Json(standIn).dump();
    std::size_t const place = text.find(quoted);
    text.replace(place, quoted.size(), other);
    return place;
}

std::size_t lineAt(std::string const & text, std::size_t byte) {
    return 1 +
           static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(byte), '\n'));
}

class Mutator {
public:
    explicit Mutator(Json const & description) : description_(description), places_(placesIn(description)) {
        for (Pointer const & place : places_) {
            Json const & value = at(place);
            bool const isMember = !place.empty() && at(place.parent_pointer()).is_object();
            addIf(value.is_object(), objects_, place);
            addIf(value.is_primitive(), primitives_, place);
            addIf(value.is_number(), numbers_, place);
            addIf(value.is_string() && wordMembers.contains(memberOf(place)), words_, place);
            addIf(isMember, members_, place);
            addIf(isMember && isRequired(place), requiredMembers_, place);
        }
    }

    std::vector<Mutated> all(std::uint64_t seed) {
        random_.seed(seed);
        made_.clear();
        wrongType();
        unknownMember();
        missingMember();
        repeatedMember();
        numberOutOfRange();
        badWord();
        hugeNumber();
        cutOff();
        strayByte();
        return made_;
    }

private:
    using Places = std::vector<Pointer>;

    static void addIf(bool isOne, Places & places, Pointer const & place) {
        if (isOne) {
            places.push_back(place);
        }
    }

    // The speed of a port with nothing on it is not.
    bool isRequired(Pointer const & place) const {
        Pointer const object = place.parent_pointer();
        auto const found = required.find(memberOf(object));
        bool const isNeedless =
            place.back() == "speed" && !at(object).contains("device") && !at(object).contains("hub");
        return found != required.end() && std::ranges::count(found->second, place.back()) != 0 && !isNeedless;
    }

    Json const & at(Pointer const & place) const { return description_.at(place); }

    void add(std::string what, Json const & mutated, Pointer const & place, std::string message) {
        made_.push_back({std::move(what), textOf(mutated), place.to_string(), std::nullopt, std::move(message)});
    }

    void replace(std::string const & what, Pointer const & place, Json value) {
        Json mutated = description_;
        std::string const shown = value.dump();
        mutated[place] = std::move(value);
        add(what + " " + shown + " at " + place.to_string(), mutated, place, "expected ");
    }

    void wrongType() {
        Pointer const place = oneOf(places_, random_);
        replace("another type:", place, otherType(at(place), random_));
    }

    void unknownMember() {
        Pointer const place = oneOf(objects_, random_);
        Json mutated = description_;
        mutated[place]["portcount"] = 4;
        add("an unknown member in " + place.to_string(), mutated, place / "portcount", "unknown here");
    }

    void missingMember() {
        Pointer const place = oneOf(requiredMembers_, random_);
        Json mutated = description_;
        mutated[place.parent_pointer()].erase(place.back());
        add("without " + place.to_string(), mutated, place.parent_pointer(), '"' + place.back() + "\" is missing");
    }

    void repeatedMember() {
        Pointer const place = oneOf(members_, random_);
        Json mutated = description_;
        mutated[place.parent_pointer()][standIn] = oneOf(std::array<Json, 3>{1, "x", nullptr}, random_);
        std::string text = textOf(mutated);
        fillIn(text, Json(place.back()).dump());
        made_.push_back({"twice: " + place.to_string(), text, place.to_string(), std::nullopt, "is there twice"});
    }

    void numberOutOfRange() {
        if (numbers_.empty()) {
            return;
        }
        Pointer const place = oneOf(numbers_, random_);
        bool const isRate = place.back().ends_with("Rate");
        std::vector<Json> numbers{-1, -1e300, 1e300, 9007199254740994.0, INT64_MIN, UINT64_MAX};
        if (!isRate) {
            numbers.emplace_back(0.5);
            numbers.emplace_back(4294967295.5);
        }
        replace("a number out of range:", place, oneOf(numbers, random_));
    }

    void badWord() {
        if (words_.empty()) {
            return;
        }
        Pointer const place = oneOf(words_, random_);
        std::string const word = at(place);
        std::string const padded = word + " ";
        std::string const doubled = word + word;
        replace("no such word:", place, oneOf(std::array<std::string, 4>{"", "other", padded, doubled}, random_));
    }

    // More than any type of this program holds.
    void hugeNumber() {
        Pointer const place = oneOf(primitives_, random_);
        Json mutated = description_;
        mutated[place] = standIn;
        std::string text = textOf(mutated);
        std::string const number = oneOf(std::array<std::string, 3>{"1e400", "-1E+309", "12e3456"}, random_);
        std::size_t const line = lineAt(text, fillIn(text, number));
        made_.push_back({number + " at " + place.to_string(), text, std::nullopt, line, "the number is too large"});
    }

    void cutOff() {
        std::string const text = textOf(description_);
        std::size_t const size = static_cast<std::size_t>(random_() % text.size());
        std::string const left = text.substr(0, size);
        made_.push_back(
            {"cut off after " + std::to_string(size) + " bytes", left, std::nullopt, lineAt(left, size), "not JSON"});
    }

    // A mark outside of texts that is gone, or one too many.
    void strayByte() {
        std::string text = textOf(description_);
        std::vector<std::size_t> marks;
        bool isText = false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (isText && text[i] == '\\') {
                ++i;
            } else if (text[i] == '"') {
                isText = !isText;
            } else if (!isText && std::string_view("{}[]:,").find(text[i]) != std::string_view::npos) {
                marks.push_back(i);
            }
        }
        std::size_t const place = oneOf(marks, random_);
        std::string const where = " at byte " + std::to_string(place);
        if (random_() % 2 == 0) {
            std::string const mark = text.substr(place, 1);
            text.erase(place, 1);
            made_.push_back({"without " + mark + where, text, std::nullopt, std::nullopt, "not JSON"});
        } else {
            char const mark = oneOf(std::string_view("#:,]}"), random_);
            text.insert(place, 1, mark);
            made_.push_back({std::string("with ") + mark + where, text, std::nullopt, std::nullopt, "not JSON"});
        }
    }

    Json const & description_;
    Places const places_;
    Places objects_;
    Places primitives_;
    Places numbers_;
    Places words_;
    Places members_;
    Places requiredMembers_;
    Random random_;
    std::vector<Mutated> made_;
};

} // namespace

std::vector<Mutated> ofEachKind(Json const & description, std::uint64_t seeds) {
    Mutator mutator(description);
    std::vector<Mutated> all;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
        std::ranges::move(mutator.all(seed), std::back_inserter(all));
    }
    return all;
}

std::string anythingElse(Json const & description, Random & random) {
    std::vector<Pointer> const places = placesIn(description);
    Json mutated = description;
    Pointer const place = oneOf(places, random);
    if (!place.empty() && random() % 3 == 0) {
        Json & parent = mutated[place.parent_pointer()];
        parent.is_object() ? static_cast<void>(parent.erase(place.back()))
                           : parent.erase(static_cast<std::size_t>(std::stoul(place.back())));
        return textOf(mutated);
    }
    Json const other =
        description.at(oneOf(places, random)); // such as a port in the place of another, or a hub in itself
    mutated[place] = random() % 2 == 0 ? other : Json(random() % 300);
    return textOf(mutated);
}

} // namespace mutations
