// What a destructive test is about to do, for whoever allows it and for the log of whoever did.
#pragma once

#include "DeviceCatalog.h"
#include "Registry.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tkit5 {

// What becomes of the data on the devices, as far as the parameters that were passed tell.
struct DataFate {
    bool isOverwritten = true;
    bool isWarning = false; // whoever runs the test has to know before it begins
    std::string note;       // for people; empty when the test declares none of these parameters
};

// questionsDeclined: every question of the test will be answered with no.
DataFate fateOfData(RegisteredTest const & test, bool questionsDeclined);

// Lines that name each disk so that nobody takes it for another one: model, size, serial number, identifier, OS
// locator. Asks each disk for its size, which blocks as the disk does.
std::string destructiveSummary(RegisteredTest const & test, DataFate const & fate,
                               std::vector<CatalogDevice const *> const & devices);

// "16.0 GB (16,012,804,096 bytes)": in powers of ten, as it is printed on sticks.
std::string sizeText(std::uint64_t bytes);

} // namespace tkit5
