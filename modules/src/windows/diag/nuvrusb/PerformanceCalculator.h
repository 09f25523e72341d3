// The measurement engine of the storage test: it gets from a USB port to the raw disk behind it, times large transfers
// and judges their rate by the generation of USB at which the port runs.
#pragma once

#include "AlignedBuffer.h"
#include "PendingIo.h"
#include "SourceUnit.h"

#include "libMedia2.h"
#include "nuv.h"
#include "tkit5.h"
#include "usbtopo.h"

#include <cstdint>

namespace nuvrusb {

class PassMeasurement;
struct PassSites;

extern SourceUnit performanceCalculatorUnit;

namespace operation {

inline constexpr std::uint32_t read = 1;
inline constexpr std::uint32_t write = 2;

} // namespace operation

// Answers of libMedia2::Drive::mediaState().
namespace media_state {

inline constexpr int none = 0;
inline constexpr int ready = 1;

} // namespace media_state

// For one device in one run. An operation that fails in preparing a pass leaves a result, which the pass then copies;
// it is not reset between passes. All operations block.
class PerformanceCalculator {
public:
    // The port is not empty; the hardware locator is the path by which the disk on it can be opened.
    PerformanceCalculator(nuv::SharedResourceManager<usbtopo::CUsbPort> port, nuv::String hardwareLocator,
                          nuv::String deviceName);
    PerformanceCalculator(PerformanceCalculator const &) = delete;
    PerformanceCalculator & operator=(PerformanceCalculator const &) = delete;
    ~PerformanceCalculator() = default;

    // One pass, with a verdict: CANNOTRUN for a write pass after the medium failed its readiness probe, INTERNALERROR
    // for an unknown operation.
    void calculate(tkit5::TestResult & result, std::uint32_t operation);

    // Thresholds: a percentage, by a parameter, of the rated speed of the port's USB generation. KB/s, a KB being 1024
    // bytes. False when the generation is unknown or the parameter out of range.
    bool getThresholdSpeed(std::uint32_t operation, double & threshold);
    double getPublishReadTransferSpeed() const; // rated, for reads and writes alike; 0.0 when unknown
    void getPerformanceResult(tkit5::TestResult & result, std::uint32_t operation, double average); // average: MB/s

    // Drive access.
    bool openHandle(); // exclusively, past every cache; one attempt
    bool initDrive();  // waits for a medium if the user may be asked for one; reads the geometry, makes the buffer
    bool getBufferSize();
    bool reopenForMediaCheck(std::uint64_t sector); // at sector 0 only; leaves a handle for overlapped I/O
    bool isMediaOperationReady(nuv::SharedFileHandle handle, std::uint32_t byteCount);
    nuv::String getHardwareLocator(nuv::String const & label); // of the disk behind the USB device; empty without one
    bool isLocked() const;                                     // in use by ReadyBoost
    static int promptForMedia(nuv::SharedResourceManager<libMedia2::OSDrive> const & drive,
                              nuv::String const & deviceName); // a MessageBox2_Return
    void copyFailureResult(tkit5::TestResult & result) const;

    // After initDrive: the range of one transfer into the transfer buffer, and back when the last backup succeeded.
    bool backupSectors(std::uint64_t sector);
    bool restoreSectors(std::uint64_t sector);

private:
    void setPerformanceOptions();
    bool getTestRunTime(std::uint32_t & seconds) const;
    void reopen(std::uint32_t flagsAndAttributes);
    bool waitForMedia();

    void readPerformance(tkit5::TestResult & result);
    bool readTransfers(PassMeasurement & measurement, tkit5::TestResult & result);
    bool timedRead(std::uint64_t sector, PassMeasurement & measurement, tkit5::TestResult & result);

    void writePerformance(tkit5::TestResult & result);
    bool writeTransfers(AlignedBuffer const & pattern, bool preserve, PassMeasurement & measurement,
                        tkit5::TestResult & result);
    bool prepareBackup(std::uint64_t sector, bool preserve, bool & askedAboutBackup, tkit5::TestResult & result);
    bool timedWrite(std::uint64_t sector, AlignedBuffer const & pattern, PassMeasurement & measurement,
                    tkit5::TestResult & result);
    bool goesOnAfterFailedWrite(std::uint64_t sector, PassMeasurement & measurement, tkit5::TestResult & result);

    // Shared by both passes. Where one gives false, the pass ends and its result is set.
    std::uint64_t transferSize() const { return transferBuffer_.size(); } // bytes
    bool enoughSectors(std::uint64_t sector) const;
    bool reopenAtStart(std::uint64_t sector, tkit5::TestResult & result);
    bool wrap(std::uint64_t & sector, PassSites const & sites, tkit5::TestResult & result) const;
    static bool withinErrorLimit(PassMeasurement & measurement, PassSites const & sites, tkit5::TestResult & result);
    void updatePercent(double totalTime, std::uint32_t runTime, std::uint32_t operation) const;
    static void publishCurrentPerformance(std::uint32_t operation, double rate);
    void summarize(PassMeasurement & measurement, PassSites const & sites, tkit5::TestResult & result);

    // Sectors of one transfer, which is also the stride between transfers: the sector size times the multiplier. Shared
    // by all devices of the process; a small medium lowers the multiplier for those after it, too.
    inline static std::uint32_t transferMultiplier = 40;
    inline static std::uint32_t readSectorsPerTransfer = 512;
    inline static std::uint32_t writeSectorsPerTransfer = 512;

    nuv::SharedResourceManager<usbtopo::CUsbPort> port_;
    nuv::SharedResourceManager<usbtopo::CUsbDevice> usbDevice_; // empty on a port without one
    nuv::SharedFileHandle handle_;                              // before the drive, which refers to it
    nuv::SharedResourceManager<libMedia2::OSDrive> drive_;      // empty until one is built
    AlignedBuffer transferBuffer_;                              // what is read, and the backup of what is overwritten
    nuv::String hardwareLocator_;
    nuv::String deviceName_;
    std::uint32_t sectorSize_ = 0;
    std::uint64_t totalSectors_ = 0;
    bool performRead_ = false;
    bool performWrite_ = false;
    tkit5::TestResult failureResult_ = tkit5::TestResult::CANNOTRUN();
    tkit5::TestResult thresholdResult_;
    bool backupDone_ = false;
    bool mediaReady_ = true;
    nuv::SharedResource<EventHandle> probeEvent_; // of the last readiness probe
};

} // namespace nuvrusb
