#include "vqtest/fulldisk.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "vqtest/child.h"

namespace vqtest {

namespace {

constexpr char SEPARATOR = '\x1f';

// What `call` raised, or "" when it returned.
std::string failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

// Mounts a 64 KiB tmpfs on `dir`, in a mount namespace of this process's own; mounts under /
// are made private first, so that the tmpfs stays in that namespace. "" or why it could not.
std::string mountSmallDisk(const std::string& dir) {
    const char* failed = ::unshare(CLONE_NEWNS) != 0 ? "unshare: "
                         : ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
                             ? (errno == EINVAL ? "/ is not a mount point, so mounts under "
                                                  "it cannot be made private: "
                                                : "making the mounts under / private: ")
                         : ::mount("vqtest", dir.c_str(), "tmpfs", 0, "size=64k") != 0 ? "mount: "
                                                                                       : nullptr;
    if (failed == nullptr) {
        return "";
    }
    const int error = errno;
    return std::string("cannot mount a small tmpfs: ") + failed + std::strerror(error) +
           (error == EPERM ? " (needs the right to mount)" : "");
}

}  // namespace

FullDiskRun runOnFullDisk(const std::string& dir, unsigned long limit,
                          const std::function<void(unsigned long n)>& write,
                          const std::function<void()>& close,
                          const std::function<std::string()>& after) {
    ForkedChild child([&](int report) {
        const std::string skipped = mountSmallDisk(dir);
        if (!skipped.empty()) {
            vqtest::report(report, skipped);
            return;
        }
        unsigned long n = 1;
        std::string failure;
        while (n < limit && (failure = failureOf([&] { write(n); })).empty()) {
            ++n;
        }
        const std::string again = failureOf([&] { write(n + 1); });
        const std::string closing = failureOf(close);
        vqtest::report(report, SEPARATOR + std::to_string(n) + SEPARATOR + failure + SEPARATOR +
                                   again + SEPARATOR + closing + SEPARATOR + after());
    });
    std::string outcome;
    child.read(outcome, 1 << 20, 60000);
    if (child.wait(5000) != 0) {
        throw std::runtime_error("the full-disk run failed: " + outcome);
    }
    FullDiskRun run;
    if (outcome.empty() || outcome[0] != SEPARATOR) {
        run.skipped = outcome;
        return run;
    }
    std::string* fields[] = {nullptr, &run.failure, &run.again, &run.closing, &run.after};
    std::size_t start = 1;
    for (std::size_t i = 0; i < 5; ++i) {
        const std::size_t end = i < 4 ? outcome.find(SEPARATOR, start) : outcome.size();
        const std::string field = outcome.substr(start, end - start);
        if (i == 0) {
            run.failed_at = std::stoul(field);
        } else {
            *fields[i] = field;
        }
        start = end + 1;
    }
    return run;
}

}  // namespace vqtest
