// A writer that fills its disk: the run of a fault test in a child process, over a 64 KiB tmpfs
// mounted on the test's directory in a mount namespace of the child's own.
#pragma once

#include <functional>
#include <string>

namespace vqtest {

// What happened: the frame whose write raised first, that error, the error of writing the next
// frame, that of closing, and what `after` returned (in the child, after closing).
struct FullDiskRun {
    std::string skipped;  // why the disk could not be made; the test skips then
    unsigned long failed_at = 0;
    std::string failure;
    std::string again;
    std::string closing;
    std::string after;
};

// In a child: mounts the small disk on `dir`, calls write(n) for n = 1, 2, ... until it raises
// (at most `limit` frames), then write(n + 1) and close() once each, then `after`. Every wait is
// bounded (a minute for the run).
FullDiskRun runOnFullDisk(const std::string& dir, unsigned long limit,
                          const std::function<void(unsigned long n)>& write,
                          const std::function<void()>& close,
                          const std::function<std::string()>& after);

}  // namespace vqtest
