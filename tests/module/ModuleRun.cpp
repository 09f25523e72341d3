#include "ModuleRun.h"

#include "support/StateFolder.h"
#include "tkit5/ProtocolLines.h"
#include "tkit5/Start.h"

#include "Catalogue.h"
#include "Keys.h"
#include "tkit5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace test {

namespace {

std::string asText(Json const & value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

char const * severityOf(nuvrusb::KeyUse use) {
    switch (use) {
    case nuvrusb::KeyUse::Error:
        return "error";
    case nuvrusb::KeyUse::Warning:
        return "warning";
    case nuvrusb::KeyUse::Informative:
        return "informative";
    case nuvrusb::KeyUse::Text:
    case nuvrusb::KeyUse::NeverRaisedEvent:
    case nuvrusb::KeyUse::NeverShownText:
        break;
    }
    return "never raised";
}

// Whatever is raised stands in the catalogue, with the one severity and the variables that it has there.
void expectInCatalogue(RaisedEvent const & event) {
    auto const entries = nuvrusb::keyCatalogue();
    auto const entry =
        std::ranges::find_if(entries, [&event](nuvrusb::CatalogueEntry const & one) { return one.key == event.key; });
    ASSERT_NE(entry, entries.end()) << event.key;
    EXPECT_EQ(event.severity, severityOf(entry->use)) << event.key;
    std::set<std::string> wanted(entry->variables.begin(), entry->variables.end());
    if (event.key == "DEVICE_SPEED_NOT_CONFIGURED" && event.line == 643) {
        wanted.clear(); // where the threshold is looked up, no device is named
    }
    std::set<std::string> set;
    for (auto const & [name, value] : event.variables) {
        set.insert(name);
    }
    EXPECT_EQ(set, wanted) << event.key;
}

HostView viewOf(std::string const & output) {
    HostView view;
    std::istringstream lines(output);
    for (std::string text; std::getline(lines, text);) {
        Json const line = Json::parse(text);
        std::string const type = line["type"];
        if (type == "event") {
            RaisedEvent event{.severity = line["severity"],
                              .key = line["key"],
                              .variables = {},
                              .text = line["text"],
                              .file = line["file"],
                              .line = line["line"]};
            for (auto const & [name, value] : line["variables"].items()) {
                event.variables[name] = asText(value);
            }
            expectInCatalogue(event);
            view.events.push_back(event);
        } else if (type == "log") {
            view.log.push_back(line["text"]);
            view.priorityOf[line["text"]] = line["priority"];
        } else if (type == "trace") {
            view.trace.emplace_back(line["entered"].get<bool>(), line["function"]);
            view.scopeSites[line["function"]] = line["file"].get<std::string>() + ":" + line["line"].dump();
        } else if (type == "result") {
            view.deviceResults.emplace_back(line["device"], line["result"]);
        } else if (type == "runEnd") {
            view.result = line["result"];
        }
    }
    view.output = output;
    return view;
}

} // namespace

std::vector<std::string> HostView::keys() const {
    std::vector<std::string> names;
    std::ranges::transform(events, std::back_inserter(names), &RaisedEvent::key);
    return names;
}

bool HostView::logged(std::string const & text) const {
    return std::ranges::count(log, text) > 0;
}

namespace {

HostView runOnFile(std::string const & test, std::string const & machineFile,
                   std::vector<std::string> const & arguments, FakeConsole & console) {
    tkit5::DiagModule::setVersion(6, 5, "000000001");
    tkit5::DiagModule::setModuleInitCallback(nuvrusb::moduleInit);
    std::vector<std::string> commandLine{"run", test, "--machine", machineFile, "--format", "jsonl"};
    commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());

    support::useOwnStateFolder();
    int const exitCode = tkit5::runCommandLine(commandLine, console);
    keepForSchemaCheck(console.output());
    HostView view = viewOf(console.output());
    view.exitCode = exitCode;
    view.errors = console.errors();
    return view;
}

} // namespace

HostView runTest(std::string const & test, Json const & pc, std::vector<std::string> const & arguments) {
    FakeConsole console;
    return runTest(test, pc, arguments, console);
}

HostView runTest(std::string const & test, Json const & pc, std::vector<std::string> const & arguments,
                 FakeConsole & console) {
    testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name() + ".json";
    std::ranges::replace(name, '/', '_'); // of a test with parameters
    std::string const file = testing::TempDir() + name;
    std::ofstream(file) << pc.dump(1);
    return runOnFile(test, file, arguments, console);
}

HostView runTestOnBundled(std::string const & test, std::string const & file,
                          std::vector<std::string> const & arguments) {
    FakeConsole console;
    return runOnFile(test, machineFile(file), arguments, console);
}

std::vector<Json> readLines(std::string const & path) {
    std::vector<Json> lines;
    std::ifstream file(path);
    for (std::string text; std::getline(file, text);) {
        lines.push_back(Json::parse(text));
    }
    return lines;
}

std::string machineFile(std::string const & file) {
    return std::string(MACHINES_FOLDER) + "/" + file;
}

} // namespace test
