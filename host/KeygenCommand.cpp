// kep-host keygen: the CURVE keys that let only their holders serve and join.
#include <filesystem>

#include "host/Commands.h"
#include "host/ConsoleOutput.h"
#include "host/net/CurveKeys.h"

CommandRun AddKeygenCommand(CLI::App& app) {
    auto folder = std::make_shared<std::filesystem::path>();
    CLI::App* command = AddCommand(
        app, "keygen", "Make CURVE keys for serve and join --curve-keys.",
        "Makes the server's key pair (server.key, server.pub) and the joiners' (client.key, "
        "client.pub) in the folder. Give the server server.key, server.pub and client.pub; "
        "give each joiner server.pub, client.pub and client.key. Existing keys are never "
        "replaced.");
    command->add_option("DIR", *folder, "the folder (made if need be)")->required();
    return [folder](HostContext&) {
        std::string error;
        if (!replication::GenerateCurveKeys(*folder, error)) {
            PrintError("kep-host: {}\n", error);
            return kExitFailed;
        }
        Print("Keys: {}\n", std::filesystem::absolute(*folder).string());
        return kExitDone;
    };
}
