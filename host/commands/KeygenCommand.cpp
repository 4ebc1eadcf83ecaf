// kep-host keygen: the CURVE keys of a server and of each joiner it admits.
#include <filesystem>

#include "host/cli/ConsoleOutput.h"
#include "host/commands/Commands.h"
#include "host/net/CurveKeys.h"

namespace {

struct KeygenOptions {
    std::filesystem::path folder;
    std::string joiner;
};

int RunKeygen(const KeygenOptions& options) {
    std::string error;
    const bool made = options.joiner.empty()
                          ? replication::MakeServerKeys(options.folder, error)
                          : replication::AddJoiner(options.folder, options.joiner, error);
    if (!made) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    const auto folder = std::filesystem::absolute(options.folder);
    const auto joiners = folder / replication::kJoinersFolder;
    if (options.joiner.empty()) {
        Print(
            "Server keys: {} (serve --curve-keys {}); the allow-list {} is empty: add each "
            "joiner with kep-host keygen {} --joiner NAME\n",
            folder.string(), folder.string(), joiners.string(), folder.string());
    } else {
        Print(
            "Joiner {}: copy {} to its machine and give it to join --curve-keys; removing {} "
            "revokes it\n",
            options.joiner, (joiners / options.joiner).string(),
            (joiners / (options.joiner + ".pub")).string());
    }
    return kExitDone;
}

}  // namespace

CommandRun AddKeygenCommand(CLI::App& app) {
    auto options = std::make_shared<KeygenOptions>();
    CLI::App* command = AddCommand(
        app, "keygen", "Make the CURVE keys of a server, or of a joiner it admits.",
        "Without --joiner, makes the server's key pair (server.key, server.pub) and an empty "
        "allow-list (joiners/) in the folder: give the folder to serve --curve-keys. With "
        "--joiner NAME, makes a key pair for that joiner, adds its public key to the allow-list "
        "as joiners/NAME.pub, and puts what the joiner needs (server.pub, joiner.pub, "
        "joiner.key) in joiners/NAME/: copy that folder to the joiner's machine and give it to "
        "join --curve-keys. Removing joiners/NAME.pub revokes the joiner, also while serve "
        "runs. Folders are made with mode 700 and key files with mode 600; keys are never "
        "replaced.");
    command->add_option("DIR", options->folder, "the server's key folder (made if need be)")
        ->required();
    command->add_option("--joiner", options->joiner, "add a joiner of this name")
        ->type_name("NAME");
    return [options](HostContext&) { return RunKeygen(*options); };
}
