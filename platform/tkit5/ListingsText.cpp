#include "ListingsText.h"

#include "DeviceFilter.h"
#include "Names.h"
#include "ParameterText.h"
#include "TextLayout.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace tkit5 {

namespace {

std::string labelled(std::string_view label, std::string_view text) {
    return fmt::format("  {:<13} {}\n", label, text);
}

std::string filterText(PropertyFilter const & filter) {
    return filter.value.empty() ? filter.name : fmt::format("{} = {}", filter.name, filter.value);
}

std::string filtersText(std::vector<PropertyFilter> const & filters) {
    std::vector<std::string> texts;
    std::ranges::transform(filters, std::back_inserter(texts), filterText);
    return fmt::format("{}", fmt::join(texts, ", "));
}

std::string parametersText(RegisteredTest const & test) {
    std::size_t width = 0;
    for (RegisteredParameter const * parameter : test.parameters) {
        width = std::max(width, parameter->name.size());
    }
    std::string text;
    for (RegisteredParameter const * parameter : test.parameters) {
        if (!parameter->hidden) {
            text += labelled(text.empty() ? "parameters" : "",
                             fmt::format("{:<{}}  {}: {}{}", parameter->name, width, dataTypeName(parameter->type),
                                         acceptedText(parameter->type), parameter->optional ? "" : "; required"));
        }
    }
    return text.empty() ? labelled("parameters", "none") : text;
}

std::string testText(RegisteredTest const & test) {
    std::string text = fmt::format("{}\n", test.name);
    if (test.entry == nullptr) {
        text += "  This version declares this test but does not carry it: it cannot be run.\n";
    }
    text += labelled("takes", fmt::format("devices with {}", fmt::join(capabilityNames(test.required), ", ")));
    if (!test.requirements.empty()) {
        text += labelled("only with", filtersText(test.requirements));
    }
    if (!test.exclusions.empty()) {
        text += labelled("never with", filtersText(test.exclusions));
    }
    if (auto const optional = capabilityNames(test.optionalCapabilities); !optional.empty()) {
        text += labelled("looks at", fmt::format("devices with {}", fmt::join(optional, " or ")));
    }
    if (test.destructive) {
        text += labelled("destructive", "it overwrites data on its device");
    }
    if (test.supportsParallelTesting) {
        text += labelled("in parallel", *test.supportsParallelTesting ? "yes" : "no");
    }
    return text + parametersText(test);
}

std::string acceptedBy(CatalogDevice const & device, Registry const & registry) {
    std::vector<std::string> names;
    for (auto const & test : registry.tests) {
        if (!whyNotAccepted(*test, device)) {
            names.push_back(test->name);
        }
    }
    return names.empty() ? "no test" : fmt::format("{}", fmt::join(names, ", "));
}

std::string deviceText(CatalogDevice const & device, Registry const & registry, RegisteredTest const * asked) {
    DeviceFacts const & facts = device.facts();
    std::string text = fmt::format("\n{}\n", printable(device.displayName()));
    text += labelled("identifier", printable(facts.identifier.getUTF8String()));
    if (!facts.osName.empty() && !(facts.osName == facts.identifier)) {
        text += labelled("OS locator", printable(facts.osName.getUTF8String()));
    }
    if (!facts.serialNumber.empty()) {
        text += labelled("serial number", printable(facts.serialNumber.getUTF8String()));
    }
    if (!facts.place.empty()) {
        text += labelled("place", facts.place);
    }
    text += labelled("capabilities", fmt::format("{}", fmt::join(capabilityNames(facts.capabilities), ", ")));
    if (asked == nullptr) {
        return text + labelled("accepted by", acceptedBy(device, registry));
    }
    auto const why = whyNotAccepted(*asked, device);
    return text + (why ? labelled("not accepted", fmt::format("by {}: {}", asked->name, *why))
                       : labelled("accepted by", asked->name));
}

} // namespace

std::string titleText(PcTitle const & pc) {
    std::string text = fmt::format("PC: {}\n", printable(pc.name));
    if (pc.isBundled) {
        text += "    A PC that comes with this program, since none was named. --machine FILE names one.\n";
    }
    return text;
}

std::string testsAsText(Registry const & registry) {
    std::string text;
    for (auto const & test : registry.tests) {
        text += (text.empty() ? "" : "\n") + testText(*test);
    }
    return text;
}

std::string devicesAsText(PcTitle const & pc, DeviceCatalog const & catalog, Registry const & registry,
                          RegisteredTest const * asked) {
    std::string text = titleText(pc);
    for (auto const & device : catalog.devices()) {
        text += deviceText(*device, registry, asked);
    }
    return text;
}

} // namespace tkit5
