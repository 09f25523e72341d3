#include "Catalogue.h"
#include "ParameterValue.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

#include "ReadyBoostDriveInfo.h"
#include "libHostOS.h"

#include <cstddef>

namespace nuvrusb {

using tkit5::TestResult;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

// A medium too small for five full transfers is tested with small ones.
constexpr std::uint32_t transfersOfAMedium = 5;
constexpr std::uint32_t smallMultiplier = 2;

} // namespace

nuv::String PerformanceCalculator::getHardwareLocator(nuv::String const & label) {
    TraceScope const trace(unit, "PerformanceCalculator::getHardwareLocator", 683);
    libHostOS::WindowsDeviceSet const disks(0, libHostOS::WindowsDeviceSet::Disks);
    libHostOS::WindowsDevice const usbDevice(usbDevice_ ? usbDevice_->getDeviceInstanceID() : nuv::String::EMPTY);
    for (std::size_t index = 0; index < disks.size(); ++index) {
        libHostOS::WindowsDevice const disk = disks[index];
        if (disk.isHidden() || !disk.isChildOf(usbDevice)) {
            continue;
        }
        deviceName_ = disk.getFriendlyName();
        nuv::String locator = disk.getOsLocator();
        unit.log(1, 697, [&](nuv::LoggerStream & message) {
            message << "Device: " << deviceName_ << " will use " << locator << " for creating the device handle";
        });
        return locator;
    }
    unit.log(1, 701, [&](nuv::LoggerStream & message) {
        message << "PerformanceCalculator::getHardwareLocator() was not successful in finding the OSLocator " << label;
    });
    return nuv::String::EMPTY;
}

void PerformanceCalculator::reopen(std::uint32_t flagsAndAttributes) {
    handle_.release(); // first: the open is exclusive
    nuv::CreateFileOpenArgs args;
    args.fileName = hardwareLocator_;
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.creationDisposition = kernel::OPEN_EXISTING;
    args.flagsAndAttributes = flagsAndAttributes;
    handle_ = nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
}

bool PerformanceCalculator::openHandle() {
    TraceScope const trace(unit, "PerformanceCalculator::openHandle", 705);
    if (hardwareLocator_.empty()) {
        raiseWarning(unit, keys::InvalidDeviceHandle, 708);
        unit.log(1, 709,
                 "PerformanceCalculator::openHandle() invalid hardware locator. Unable to create device handle for "
                 "testing.");
        return false;
    }
    unit.log(1, 714, [this](nuv::LoggerStream & message) {
        message << "PerformanceCalculator::Device Property: " << hardwareLocator_
                << " being used for creating the handle";
    });
    reopen(kernel::FILE_FLAG_WRITE_THROUGH | kernel::FILE_FLAG_NO_BUFFERING);
    if (handle_->isValid()) {
        return true;
    }
    // A disk that is still there is told from one that was taken away; neither is opened by what is found now.
    if (getHardwareLocator(usbDevice_ ? usbDevice_->getDisplayName() : nuv::String::EMPTY).empty()) {
        failureResult_ = TestResult::NODEVICE();
    } else {
        raiseWarning(unit, keys::InvalidDeviceHandle, 729);
    }
    return false;
}

bool PerformanceCalculator::initDrive() {
    TraceScope const trace(unit, "PerformanceCalculator::initDrive", 736);
    drive_ = nuv::SharedResourceManager<libMedia2::OSDrive>(new libMedia2::OSDrive(handle_, nullptr));
    if (!drive_) {
        raiseWarning(unit, keys::DEVICE_NOT_INITIALIZED, 740);
        return false;
    }

    if (!boolOr(parameters::PromptUserForMedia, false)) {
        if (drive_->mediaState() == media_state::none) {
            failureResult_ = TestResult::NOMEDIA();
            raiseWarning(unit, keys::NO_MEDIA_PRESENT, 776);
            return false;
        }
    } else if (!drive_->isMediaPresent() && drive_->mediaState() == media_state::none && !waitForMedia()) {
        return false;
    }

    sectorSize_ = drive_->getSectorSize();
    if (sectorSize_ == 0) {
        raiseWarning(unit, keys::CANNOT_GET_SECTOR_SIZE, 783);
        return false;
    }
    totalSectors_ = drive_->getSectorCount();
    if (totalSectors_ == 0) {
        raiseWarning(unit, keys::CANNOT_GET_TOTAL_SECTORS, 788);
        return false;
    }
    return getBufferSize();
}

bool PerformanceCalculator::getBufferSize() {
    TraceScope const trace(unit, "PerformanceCalculator::getBufferSize", 799);
    std::uint32_t sectorsPerTransfer = sectorSize_ * transferMultiplier;
    if (totalSectors_ < std::uint64_t{transfersOfAMedium} * sectorsPerTransfer) {
        transferMultiplier = smallMultiplier;
        sectorsPerTransfer = sectorSize_ * transferMultiplier;
    }
    readSectorsPerTransfer = sectorsPerTransfer;
    writeSectorsPerTransfer = sectorsPerTransfer;

    std::uint32_t const size = sectorSize_ * sectorsPerTransfer;
    return size != 0 && (size == transferBuffer_.size() || transferBuffer_.resize(size));
}

bool PerformanceCalculator::isLocked() const {
    TraceScope const trace(unit, "PerformanceCalculator::isLocked", 820);
    if (ReadyBoostDriveInfo(hardwareLocator_, nuv::String::EMPTY).isEnabled()) {
        raiseWarning(unit, keys::CANNOT_OPEN_ACCESS_DENIED, 825);
        return true;
    }
    return false;
}

} // namespace nuvrusb
