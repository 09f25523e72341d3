#include "Keys.h"

namespace nuvrusb {

namespace keys {

#define NUVRUSB_REGISTER_EVENT(key, use, ...) tkit5::Event * const key = tkit5::DiagModule::createEvent(#key);
#define NUVRUSB_REGISTER_TEXT(key, use, ...)                                                                           \
    tkit5::LocalizedString * const key = tkit5::DiagModule::createLocalizedString(#key);
NUVRUSB_KEYS(NUVRUSB_REGISTER_EVENT, NUVRUSB_REGISTER_TEXT)
#undef NUVRUSB_REGISTER_EVENT
#undef NUVRUSB_REGISTER_TEXT

} // namespace keys

std::span<CatalogueEntry const> keyCatalogue() {
#define NUVRUSB_ENTRY(key, use, ...) CatalogueEntry{#key, KeyUse::use, {__VA_ARGS__}},
    static std::vector<CatalogueEntry> const entries{NUVRUSB_KEYS(NUVRUSB_ENTRY, NUVRUSB_ENTRY)};
#undef NUVRUSB_ENTRY
    return entries;
}

} // namespace nuvrusb
