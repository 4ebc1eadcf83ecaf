#include "host/net/CurveKeys.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>
#include <zmq.h>

#include "host/net/KeyFolder.h"

namespace replication {

namespace {

constexpr std::size_t kLongestJoinerName = 64;

struct KeyPair {
    std::string publicKey;
    std::string secretKey;
};

std::optional<KeyPair> NewKeyPair(std::string& error) {
    std::array<char, kZ85KeyLength + 1> publicKey{}, secretKey{};
    if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0) {
        error = fmt::format("no CURVE key pair: {}", zmq_strerror(zmq_errno()));
        return std::nullopt;
    }
    return KeyPair{publicKey.data(), secretKey.data()};
}

}  // namespace

bool IsJoinerName(std::string_view name) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '_' || c == '-';
    };
    return !name.empty() && name.size() <= kLongestJoinerName && name[0] != '.' && name[0] != '-' &&
           !name.ends_with(".pub") && std::all_of(name.begin(), name.end(), allowed);
}

bool MakeServerKeys(const std::filesystem::path& folder, std::string& error) {
    const auto keys = KeyFolder::Open(folder, true, error);
    if (!keys) {
        return false;
    }
    for (const char* name : {"server.key", "server.pub"}) {
        if (keys->Has(name)) {
            error = fmt::format(
                "{}: exists already; keys are never replaced (kep-host keygen {} --joiner NAME "
                "adds a joiner)",
                (folder / name).string(), folder.string());
            return false;
        }
    }
    const auto pair = NewKeyPair(error);
    return pair && keys->WriteKey("server.key", pair->secretKey, error) &&
           keys->WriteKey("server.pub", pair->publicKey, error) &&
           keys->Child(kJoinersFolder, true, error);
}

bool AddJoiner(const std::filesystem::path& folder, std::string_view name, std::string& error) {
    if (!IsJoinerName(name)) {
        error = fmt::format(
            "{}: a joiner's name is 1 to {} letters, digits, '.', '_' or '-', not starting "
            "with '.' or '-' nor ending with .pub",
            name, kLongestJoinerName);
        return false;
    }
    const auto keys = KeyFolder::Open(folder, false, error);
    const auto serverPublic = keys ? keys->ReadKey("server.pub", false, error) : std::nullopt;
    const auto joiners = serverPublic ? keys->Child(kJoinersFolder, true, error) : std::nullopt;
    if (!joiners) {
        error +=
            fmt::format(" (kep-host keygen {} makes the server's keys first)", folder.string());
        return false;
    }
    const std::string allowed = fmt::format("{}.pub", name);
    if (joiners->Has(allowed) || joiners->Has(name)) {
        error =
            fmt::format("{}: joiner {} exists already", (joiners->path() / allowed).string(), name);
        return false;
    }
    const auto pair = NewKeyPair(error);
    const auto own = pair ? joiners->Child(name, true, error) : std::nullopt;
    // Admitted last, once everything it needs is in place.
    return own && own->WriteKey("server.pub", *serverPublic, error) &&
           own->WriteKey("joiner.pub", pair->publicKey, error) &&
           own->WriteKey("joiner.key", pair->secretKey, error) &&
           joiners->WriteKey(allowed, pair->publicKey, error);
}

std::optional<ServerKeys> ReadServerKeys(const std::filesystem::path& folder, std::string& error) {
    const auto keys = KeyFolder::Open(folder, false, error);
    if (!keys) {
        return std::nullopt;
    }
    ServerKeys server;
    auto publicKey = keys->ReadKey("server.pub", false, error);
    auto secretKey = publicKey ? keys->ReadKey("server.key", true, error) : std::nullopt;
    if (!secretKey || !keys->Child(kJoinersFolder, false, error)) {
        return std::nullopt;
    }
    return ServerKeys{std::move(*publicKey), std::move(*secretKey), folder / kJoinersFolder};
}

std::optional<JoinerKeys> ReadJoinerKeys(const std::filesystem::path& folder, std::string& error) {
    const auto keys = KeyFolder::Open(folder, false, error);
    if (!keys) {
        return std::nullopt;
    }
    auto serverPublic = keys->ReadKey("server.pub", false, error);
    auto publicKey = serverPublic ? keys->ReadKey("joiner.pub", false, error) : std::nullopt;
    auto secretKey = publicKey ? keys->ReadKey("joiner.key", true, error) : std::nullopt;
    if (!secretKey) {
        return std::nullopt;
    }
    return JoinerKeys{std::move(*serverPublic), std::move(*publicKey), std::move(*secretKey)};
}

}  // namespace replication
