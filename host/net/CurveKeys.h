#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// CURVE keys that let only the joiners a server admits take part in replication,
// each key as Z85 text in a file of its own:
//
//   DIR/server.key, DIR/server.pub    the serving instance's key pair
//   DIR/joiners/NAME.pub              the allow-list: one public key per joiner
//   DIR/joiners/NAME/                 what joiner NAME's --curve-keys needs:
//       server.pub, joiner.pub, joiner.key
//
// The server's secret never leaves its folder; a joiner's folder is copied to its
// machine; removing NAME.pub revokes that joiner alone.
namespace replication {

struct ServerKeys {
    std::string publicKey;
    std::string secretKey;
    std::filesystem::path joiners;  // the allow-list's folder
};

struct JoinerKeys {
    std::string serverPublicKey;
    std::string publicKey;
    std::string secretKey;
};

inline constexpr const char* kJoinersFolder = "joiners";

// A joiner's name: 1 to 64 letters, digits, '.', '_' or '-', not starting with '.'
// or '-' nor ending with ".pub", so that it is a file name in any folder and on any
// command line, and its folder is not taken for a key.
bool IsJoinerName(std::string_view name);

// Makes the server's key pair and an empty allow-list in the folder (made if need
// be); false with the reason in `error`, also when server keys are there already.
bool MakeServerKeys(const std::filesystem::path& folder, std::string& error);
// Makes a key pair for a new joiner of the server whose keys are in the folder,
// adds its public key to the allow-list and puts what the joiner needs in its own
// folder; false with the reason in `error`.
bool AddJoiner(const std::filesystem::path& folder, std::string_view name, std::string& error);

// The keys each side needs from its folder, or nothing with the reason in `error`.
std::optional<ServerKeys> ReadServerKeys(const std::filesystem::path& folder, std::string& error);
std::optional<JoinerKeys> ReadJoinerKeys(const std::filesystem::path& folder, std::string& error);

}  // namespace replication
