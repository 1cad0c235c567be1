#ifndef ZELCONFIG_PLATFORM_FILELOCK_H
#define ZELCONFIG_PLATFORM_FILELOCK_H

#include <chrono>
#include <string>

namespace zelconfig {

// How long the legacy CFG reading and saving wait for another program's
// lock before they go on without it: as long as LockedFile waits by default.
constexpr unsigned kLegacyLockSeconds = 10;

// Takes the flock() `operation` (LOCK_SH or LOCK_EX) on `fd`, polling until
// `deadline`, so that no holder can make the caller wait for ever; EINTR is
// retried. False with the reason in `message` when the deadline passed
// (`waitSeconds` is the wait it names) or the file cannot be locked at all.
bool LockWithin(int fd, int operation, std::chrono::steady_clock::time_point deadline, unsigned waitSeconds,
                std::string& message);

// What LockCurrent returns when the lock was not had: `fd` stays open, unlocked.
constexpr int kLockNotHad = -2;

// Locks `fd`, the regular file that `path` led to when it was opened, as
// LockWithin does. An editor that replaces the file by a rename leaves its
// lock with the old file, so a waiter may wake up holding the lock of a file
// that nobody reads any more: while the path leads elsewhere (stat, or lstat
// when `flags` has O_NOFOLLOW), `fd` is closed, the path opened again with
// `flags` through OpenRegular (which never waits on a FIFO) and that file
// locked in turn, all within the one deadline. 0 with `fd` locked;
// kLockNotHad with `fd` open (the file the path last led to) and `message`
// set; or what OpenRegular returned for the new file, with `fd` closed (-1).
int LockCurrent(const std::string& path, int flags, int operation, std::chrono::steady_clock::time_point deadline,
                unsigned waitSeconds, int& fd, std::string& message);

} // namespace zelconfig

#endif
