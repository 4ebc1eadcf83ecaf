#pragma once

#include <optional>
#include <string>

// ZeroMQ endpoints of a serving instance, between processes: tcp (IPv4, or IPv6
// in brackets) or ipc with a path. Its publisher is at the endpoint the user
// names; snapshots are asked for at a second one derived from it: the next port
// for tcp, the same path with ".snapshot" appended for ipc.
namespace replication {

// The snapshot endpoint, or nothing with the reason in `error` if the endpoint
// is not one of these. An abstract ipc socket (ipc://@name) is refused: any local
// user reaches it, whatever the folder's permissions.
std::optional<std::string> SnapshotEndpoint(const std::string& endpoint, std::string& error);

// Whether only this machine can reach the endpoint: tcp on a loopback address
// (127.x.x.x, [::1], localhost), or an ipc path.
bool IsLoopback(const std::string& endpoint);

// Whether the endpoint's address is IPv6 ([...]), which its socket must allow.
bool IsIpv6(const std::string& endpoint);

// The endpoint as ZeroMQ binds it: it binds to addresses, not names, so
// tcp://localhost becomes tcp://127.0.0.1.
std::string BindableEndpoint(const std::string& endpoint);

}  // namespace replication
