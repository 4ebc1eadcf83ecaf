#include "host/net/CurveKeys.h"

#include <array>
#include <fstream>
#include <string_view>

#include <fmt/format.h>
#include <zmq.h>

namespace replication {

namespace {

constexpr std::size_t kZ85KeyLength = 40;

struct KeyFile {
    const char* name;
    std::string CurveKeys::*key;
};
constexpr std::array<KeyFile, 4> kKeyFiles{{{"server.pub", &CurveKeys::serverPublic},
                                            {"server.key", &CurveKeys::serverSecret},
                                            {"client.pub", &CurveKeys::clientPublic},
                                            {"client.key", &CurveKeys::clientSecret}}};

bool NeededBy(std::string_view file, CurveRole role) {
    return role == CurveRole::Server ? file != "client.key" : file != "server.key";
}

bool WriteKey(const std::filesystem::path& file, const std::string& key, bool secret,
              std::string& error) {
    std::ofstream stream(file, std::ios::trunc);
    stream << key << '\n';
    stream.close();
    std::error_code status;
    if (secret) {
        std::filesystem::permissions(
            file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, status);
    }
    if (stream.fail() || status) {
        error = fmt::format("{} cannot be written", file.string());
        return false;
    }
    return true;
}

}  // namespace

bool GenerateCurveKeys(const std::filesystem::path& folder, std::string& error) {
    std::error_code status;
    std::filesystem::create_directories(folder, status);
    for (const KeyFile& file : kKeyFiles) {
        if (std::filesystem::exists(folder / file.name, status)) {
            error = fmt::format("{} exists already; keys are not replaced",
                                (folder / file.name).string());
            return false;
        }
    }
    CurveKeys keys;
    std::array<char, kZ85KeyLength + 1> publicKey{}, secretKey{};
    for (auto [pub, sec] : {std::pair{&CurveKeys::serverPublic, &CurveKeys::serverSecret},
                            std::pair{&CurveKeys::clientPublic, &CurveKeys::clientSecret}}) {
        if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0) {
            error = fmt::format("no CURVE key pair: {}", zmq_strerror(zmq_errno()));
            return false;
        }
        keys.*pub = publicKey.data();
        keys.*sec = secretKey.data();
    }
    for (const KeyFile& file : kKeyFiles) {
        const bool secret = std::string_view(file.name).ends_with(".key");
        if (!WriteKey(folder / file.name, keys.*file.key, secret, error)) {
            return false;
        }
    }
    return true;
}

std::optional<CurveKeys> ReadCurveKeys(const std::filesystem::path& folder, CurveRole role,
                                       std::string& error) {
    CurveKeys keys;
    for (const KeyFile& file : kKeyFiles) {
        if (!NeededBy(file.name, role)) {
            continue;
        }
        std::ifstream stream(folder / file.name);
        if (!stream) {
            error = fmt::format("{}: not found (kep-host keygen makes the keys)",
                                (folder / file.name).string());
            return std::nullopt;
        }
        std::string& key = keys.*file.key;
        if (!std::getline(stream, key) || key.size() != kZ85KeyLength) {
            error = fmt::format(
                "{}: no CURVE key ({} characters of Z85 text; kep-host keygen "
                "makes them)",
                (folder / file.name).string(), kZ85KeyLength);
            return std::nullopt;
        }
    }
    return keys;
}

}  // namespace replication
