#include "tkit5/Locale.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::json;
using tkit5::Locale;
using tkit5::Variables;

Locale with(std::string const & text) {
    return Locale::fromFile("test.json", R"({"language": "en", "texts": {"KEY": ")" + text + R"("}})");
}

std::string resolved(std::string const & text, Variables const & variables) {
    return with(text).resolve("KEY", variables);
}

TEST(LocaleTest, VariablesArePutIn) {
    EXPECT_EQ(resolved("{Device} on port {Port}.", {{"Device", "Stick"}, {"Port", std::uint32_t{4}}}),
              "Stick on port 4.");
}

TEST(LocaleTest, SameVariableIsPutInEverywhere) {
    EXPECT_EQ(resolved("{a}{a}-{a}", {{"a", "x"}}), "xx-x");
}

TEST(LocaleTest, VariableThatWasNeverSetStaysAsWritten) {
    EXPECT_EQ(resolved("{Device} is slow.", {}), "{Device} is slow.");
}

TEST(LocaleTest, BracketedPartIsLeftOutWhenAVariableInItWasNeverSet) {
    EXPECT_EQ(resolved("Slow[ on {Port}][ of {Hub}].", {{"Hub", "H"}}), "Slow of H.");
    EXPECT_EQ(resolved("[{a} {b}]", {{"a", "x"}}), "");
}

TEST(LocaleTest, ValueWithBracketsKeepsThem) {
    EXPECT_EQ(resolved("on {a}[ and {a}]", {{"a", "[{b}]"}}), "on [{b}] and [{b}]");
}

TEST(LocaleTest, BracketWithoutItsPartnerIsText) {
    EXPECT_EQ(resolved("] {a} [", {{"a", "x"}}), "] x [");
}

TEST(LocaleTest, VariablesDifferByCase) {
    EXPECT_EQ(resolved("{mediaName}", {{"MediaName", "x"}}), "{mediaName}");
}

TEST(LocaleTest, ValueThatLooksLikeAVariableIsNotOne) {
    EXPECT_EQ(resolved("{a} and {b}", {{"a", "{b}"}, {"b", "{a}"}}), "{b} and {a}");
}

TEST(LocaleTest, BraceWithoutItsPartnerIsText) {
    EXPECT_EQ(resolved("50 { {a} } {", {{"a", "x"}}), "50 { {a} } {");
    EXPECT_EQ(resolved("} {a} {", {{"a", "x"}}), "} x {");
}

TEST(LocaleTest, KeyWithoutATextGivesTheKey) {
    EXPECT_EQ(with("x").resolve("OTHER_KEY", {}), "OTHER_KEY");
}

TEST(LocaleTest, LanguageIsTheNearestToTheTag) {
    EXPECT_EQ(Locale::forLanguage("de").language(), "de");
    EXPECT_EQ(Locale::forLanguage("de-AT").language(), "de");
    EXPECT_EQ(Locale::forLanguage("DE_at.UTF-8@euro").language(), "de");
    EXPECT_EQ(Locale::forLanguage("de-CH-1901").language(), "de");
    EXPECT_EQ(Locale::forLanguage("en-GB").language(), "en");
}

TEST(LocaleTest, LanguageWithoutTextsFallsBackToEnglish) {
    EXPECT_EQ(Locale::forLanguage("xx").language(), "en");
    EXPECT_EQ(Locale::forLanguage("deutsch").language(), "en");
    EXPECT_EQ(Locale::forLanguage("C.UTF-8").language(), "en");
    EXPECT_EQ(Locale::forLanguage("").language(), "en");
}

TEST(LocaleTest, LanguageIsKnownByAnyTagThatLeadsToItsTexts) {
    for (char const * tag : {"en", "de", "de-AT", "DE_at.UTF-8@euro"}) {
        EXPECT_TRUE(Locale::isKnown(tag)) << tag;
    }
    for (char const * tag : {"xx", "deutsch", "C.UTF-8", "", "-"}) {
        EXPECT_FALSE(Locale::isKnown(tag)) << tag;
    }
}

TEST(LocaleTest, EnglishIsListedFirst) {
    EXPECT_EQ(Locale::languages(), (std::vector<std::string>{"en", "de"}));
}

TEST(LocaleTest, EveryLanguageHasTheSameKeys) {
    auto const keys = [](Locale const & locale) {
        std::vector<std::string> result;
        for (auto const & [key, text] : locale.texts()) {
            result.push_back(key);
        }
        return result;
    };
    auto const english = keys(Locale::forLanguage("en"));
    EXPECT_FALSE(english.empty());
    EXPECT_EQ(keys(Locale::forLanguage("de")), english);
}

Variables variablesOf(Json const & example) {
    Variables variables;
    for (auto const & [name, value] : example.at("variables").items()) {
        std::string const text = value.is_string() ? value.get<std::string>() : value.dump();
        variables.emplace_back(name, text.c_str());
    }
    return variables;
}

TEST(LocaleTest, ExamplesForHostsHaveTheTextsOfTheProgram) {
    std::ifstream document(GOLDEN_DIR "/../../../docs/protocol.md");
    std::size_t examples = 0;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with(R"({"type":"event")") && !line.starts_with(R"({"type":"progress")")) {
            continue;
        }
        ++examples;
        Json const example = Json::parse(line);
        EXPECT_EQ(Locale::forLanguage("en").resolve(example.at("key").get<std::string>(), variablesOf(example)),
                  example.at("text").get<std::string>());
    }
    EXPECT_EQ(examples, 2U);
}

TEST(LocaleTest, FileOfAnotherFormIsRefusedByName) {
    auto const refusal = [](char const * contents) -> std::string {
        try {
            Locale::fromFile("fr.json", contents);
        } catch (tkit5::TkitException const & exception) {
            return exception.toString().getUTF8Buffer();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal("[]"), "The texts in fr.json cannot be used: it is not a JSON object.");
    EXPECT_EQ(refusal("{"), "The texts in fr.json cannot be used: it is not a JSON object.");
    EXPECT_EQ(refusal(R"({"texts": {}})"), "The texts in fr.json cannot be used: \"language\" has to be a text.");
    EXPECT_EQ(refusal(R"({"language": "fr"})"), "The texts in fr.json cannot be used: \"texts\" has to be an object.");
    EXPECT_EQ(refusal(R"({"language": "fr", "texts": {"KEY": 1}})"),
              "The texts in fr.json cannot be used: \"KEY\" has to be a text.");
}

} // namespace
