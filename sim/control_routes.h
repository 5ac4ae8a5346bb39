// The control end point of the stand-alone simulator, at https://localhost:PORT/_sim/ (or 127.0.0.1):
//   POST   /_sim/faults         adds a fault: {"method":"GET","target":"/subscriptions","first":1,"times":"forever",
//                               "action":{"kind":"answer","status":503,"headers":{"Retry-After":"1"},"body":"..."}}
//                               Kinds and their members: answer (status, headers, body or fillerBytes),
//                               truncate (bytes), resetInBody (bytes), resetBeforeAnswer, loseAnswer,
//                               delay (milliseconds), refuseToken. Only target and action are needed.
//   GET    /_sim/unused-faults  one line for each fault that no request got
//   GET    /_sim/requests       what was received, secrets masked
//   DELETE /_sim/requests       forgets it
//   GET    /_sim/unknown-requests
//                               method, host and target of each request that nothing answers
//   GET    /_sim/state          machines, disks, snapshots, network interfaces, public addresses and exports that stand
//   GET    /_sim/disk-digest?disk=ID
//                               what a disk holds, by a managed disk's id or a VHD's address:
//                               {"sha256":"...","size":1073741824,"dataBytes":...,"allocatedBytes":...}; disks of the
//                               same sha256 and size hold the same
//   POST   /_sim/revoke-tokens  makes all tokens invalid
//   POST   /_sim/advance-time   {"seconds":3600} moves the clock forward
#pragma once

#include "sim/route_table.h"
#include "sim/simulator.h"

namespace sim {

/// `simulator` must outlive the table.
void add_control_routes(RouteTable& routes, Simulator& simulator);

}  // namespace sim
