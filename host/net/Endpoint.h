#pragma once

#include <optional>
#include <string>

// ZeroMQ endpoints of a serving instance. Its publisher is at the endpoint the
// user names; snapshots are asked for at a second one derived from it: the next
// port for tcp, the same name with ".snapshot" appended for ipc and inproc.
namespace replication {

// The snapshot endpoint, or nothing with the reason in `error`.
std::optional<std::string> SnapshotEndpoint(const std::string& endpoint, std::string& error);

// Whether only this machine can reach the endpoint: tcp on a loopback address
// (127.x.x.x, ::1, localhost), or ipc and inproc.
bool IsLoopback(const std::string& endpoint);

}  // namespace replication
