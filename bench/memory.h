// Resident memory of this process, in KiB.
#pragma once

namespace bench {

/// What is resident now.
long ResidentKib();

/// The most that was resident since the last ResetPeak, or since the start.
long PeakKib();
void ResetPeak();

}  // namespace bench
