// A claim on the repository for as long as a backup takes. restic locks it for each stream alone, so that a prune that
// began between two machines would turn away the rest of them, and so would one that is still at it when the backup
// begins.
#pragma once

#include <functional>
#include <memory>

#include "host/restic.h"

namespace host {

/// While it lives, restic refuses those who want the repository to themselves; other backups pass. Nothing is stored.
using RepositoryHold = std::unique_ptr<ResticUpload>;

/// Asked each time that somebody else has the repository to himself: false gives up, true tries again.
using WaitForRepository = std::function<bool()>;

/// Throws what ResticUpload does: RepositoryInUse when wait gave up, ResticError when there is no such repository or
/// the password does not open it. Locks of processes that are gone are removed on the way. restic must outlive the
/// hold.
RepositoryHold hold_repository(const Restic& restic, const WaitForRepository& wait);

/// Waits a few seconds each time, for so many minutes in all; says so once, by tell. Throws Interrupted.
WaitForRepository wait_minutes(unsigned minutes, const std::function<void()>& tell);

}  // namespace host
