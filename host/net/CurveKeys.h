#pragma once

#include <filesystem>
#include <optional>
#include <string>

// CURVE keys that let only the holders of a key folder take part in replication:
// the serving instance's key pair and one key pair shared by its joiners, each key
// as 40 characters of Z85 text in its own file (server.key and client.key are the
// secret ones). A server needs server.key, server.pub and client.pub; a joiner
// needs server.pub, client.pub and client.key, so the server's secret never has to
// leave its machine.
namespace replication {

enum class CurveRole { Server, Joiner };

struct CurveKeys {
    std::string serverPublic;
    std::string serverSecret;  // empty for a joiner
    std::string clientPublic;
    std::string clientSecret;  // empty for a server
};

// Makes both key pairs in the folder (made if need be), secrets readable by the
// owner only; false with the reason in `error`, also when keys are there already.
bool GenerateCurveKeys(const std::filesystem::path& folder, std::string& error);

// The keys a role needs from the folder, or nothing with the reason in `error`.
std::optional<CurveKeys> ReadCurveKeys(const std::filesystem::path& folder, CurveRole role,
                                       std::string& error);

}  // namespace replication
