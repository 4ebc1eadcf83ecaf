// kep-load-bench: the project's loader against kep-load-reference (a plain FFmpeg
// decode and convert, beside this program), per format.
//
//   kep-load-bench table FILE...                   per load, each in a child process
//   kep-load-bench processes HOST PLUGINS FILE...  whole `kep-host info` runs
//   kep-load-bench load FILE                       one load, as the table runs it
//   kep-load-bench hash FILE...                    the decoded PCM's size and hash
//
// A load prints "bytes milliseconds peak-KiB": the peak is ru_maxrss minus the
// resident memory before the load, so the libraries each program maps do not count.
// Each child runs five times, taking turns: the median time and the largest peak
// are shown.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>

#include "bench/support/BenchSystems.h"
#include "decode/FFStream.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"
#include "plugin/SoundSystem.h"

namespace {

constexpr int kRuns = 5;

long ResidentKib() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long PeakKib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// One load in this process, as the table's children run it.
int LoadOnce(const std::string& file) {
    auto system = StartedSystem(false);
    auto* inspector = kep::query<kep::ISoundInspector>(system.get());
    const long before = ResidentKib();
    const auto start = std::chrono::steady_clock::now();
    kep::SoundDescription description;
    if (!inspector->LoadSoundFile("bench", file) ||
        !inspector->DescribeSound("bench", description)) {
        return 1;
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    fmt::print("{} {:.2f} {}\n", description.byteSize, took.count(), PeakKib() - before);
    system->Stop();
    return 0;
}

int Hash(const std::vector<std::string>& files) {
    auto system = StartedSystem(false);
    for (const std::string& file : files) {
        try {
            const FFStream stream(file);
            const auto& pcm = stream.GetPcm();
            std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
            for (std::uint8_t byte : pcm) {
                hash = (hash ^ byte) * 1099511628211ull;
            }
            fmt::print("{:016x} {:>10} {:#06x} {}\n", hash, pcm.size(),
                       stream.GetAlBufferFormat().alFormat, file);
        } catch (const std::exception& error) {
            fmt::print("failed {} {}\n", file, error.what());
        }
    }
    system->Stop();
    return 0;
}

struct Measure {
    std::uint64_t bytes = 0;
    double milliseconds = 0;
    long peakKib = 0;
};

// Runs argv in a child once. With `whole`, the child's own output is ignored and
// the process as a whole is measured (wall time, ru_maxrss).
std::optional<Measure> RunChild(const std::vector<std::string>& argv, bool whole) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
        return std::nullopt;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        std::vector<char*> args;
        for (const std::string& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(pipeEnds[1]);
    std::string output;
    char chunk[4096];
    for (ssize_t got; (got = read(pipeEnds[0], chunk, sizeof chunk)) > 0;) {
        output.append(chunk, static_cast<std::size_t>(got));
    }
    close(pipeEnds[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return std::nullopt;
    }
    Measure one;
    if (whole) {
        one = {0, took.count(), usage.ru_maxrss};
    } else if (std::sscanf(output.c_str(), "%lu %lf %ld", &one.bytes, &one.milliseconds,
                           &one.peakKib) != 3) {
        return std::nullopt;
    }
    return one;
}

// Runs each program kRuns times, taking turns so that a busy moment of the machine
// falls on all of them: for each, the median time and the largest peak; empty if
// any run failed.
std::vector<std::optional<Measure>> Compare(const std::vector<std::vector<std::string>>& programs,
                                            bool whole) {
    std::vector<std::vector<double>> times(programs.size());
    std::vector<std::optional<Measure>> measures(programs.size(), Measure{});
    for (int run = 0; run < kRuns; ++run) {
        for (std::size_t index = 0; index < programs.size(); ++index) {
            const std::optional<Measure> one = RunChild(programs[index], whole);
            std::optional<Measure>& measure = measures[index];
            if (!one || !measure) {
                measure.reset();
                continue;
            }
            times[index].push_back(one->milliseconds);
            measure->bytes = one->bytes;
            measure->peakKib = std::max(measure->peakKib, one->peakKib);
        }
    }
    for (std::size_t index = 0; index < programs.size(); ++index) {
        if (measures[index]) {
            std::sort(times[index].begin(), times[index].end());
            measures[index]->milliseconds = times[index][times[index].size() / 2];
        }
    }
    return measures;
}

std::string Megabytes(long kib) {
    return fmt::format("{:.1f}", static_cast<double>(kib) / 1024);
}

std::string Ratio(double ours, double theirs) {
    return theirs > 0 ? fmt::format("{:.2f}", ours / theirs) : "-";
}

int Table(const std::string& self, const std::string& reference,
          const std::vector<std::string>& files) {
    fmt::print("{:<16} {:>11} {:>9} {:>9} {:>9} {:>6} {:>9} {:>9} {:>6}\n", "file", "PCM bytes",
               "load ms", "ref ms", "ref+AL ms", "ratio", "load MB", "ref+AL MB", "ratio");
    for (const std::string& file : files) {
        const auto measures = Compare(
            {{self, "load", file}, {reference, "reference", file}, {reference, "upload", file}},
            false);
        const auto& [ours, plain, upload] = std::tie(measures[0], measures[1], measures[2]);
        const std::string name = file.substr(file.find_last_of('/') + 1);
        if (!ours || !plain || !upload) {
            fmt::print("{:<16} failed\n", name);
            continue;
        }
        fmt::print("{:<16} {:>11} {:>9.1f} {:>9.1f} {:>9.1f} {:>6} {:>9} {:>9} {:>6}\n", name,
                   ours->bytes, ours->milliseconds, plain->milliseconds, upload->milliseconds,
                   Ratio(ours->milliseconds, upload->milliseconds), Megabytes(ours->peakKib),
                   Megabytes(upload->peakKib),
                   Ratio(static_cast<double>(ours->peakKib), static_cast<double>(upload->peakKib)));
    }
    return 0;
}

int Processes(const std::string& reference, const std::string& host, const std::string& plugins,
              const std::vector<std::string>& files) {
    fmt::print("{:<16} {:>12} {:>12} {:>6} {:>12} {:>12} {:>6}\n", "file", "kep-host ms",
               "ref+AL ms", "ratio", "kep-host MB", "ref+AL MB", "ratio");
    for (const std::string& file : files) {
        const auto measures = Compare(
            {{host, "--plugins", plugins, "info", file}, {reference, "upload", file}}, true);
        const auto& [ours, upload] = std::tie(measures[0], measures[1]);
        const std::string name = file.substr(file.find_last_of('/') + 1);
        if (!ours || !upload) {
            fmt::print("{:<16} failed\n", name);
            continue;
        }
        fmt::print("{:<16} {:>12.0f} {:>12.0f} {:>6} {:>12} {:>12} {:>6}\n", name,
                   ours->milliseconds, upload->milliseconds,
                   Ratio(ours->milliseconds, upload->milliseconds), Megabytes(ours->peakKib),
                   Megabytes(upload->peakKib),
                   Ratio(static_cast<double>(ours->peakKib), static_cast<double>(upload->peakKib)));
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("ALSOFT_DRIVERS", "null", 0);
    DropLogLines();
    av_log_set_level(AV_LOG_QUIET);
    const std::vector<std::string> args(argv + 1, argv + argc);
    const std::string self = "/proc/self/exe";
    char resolved[4096] = {};
    const ssize_t length = readlink(self.c_str(), resolved, sizeof resolved - 1);
    const std::string program = length > 0 ? std::string(resolved) : std::string(argv[0]);
    const std::string reference =
        program.substr(0, program.find_last_of('/') + 1) + "kep-load-reference";
    if (args.size() >= 2 && args[0] == "table") {
        return Table(program, reference, {args.begin() + 1, args.end()});
    }
    if (args.size() >= 4 && args[0] == "processes") {
        return Processes(reference, args[1], args[2], {args.begin() + 3, args.end()});
    }
    if (args.size() >= 2 && args[0] == "hash") {
        return Hash({args.begin() + 1, args.end()});
    }
    if (args.size() == 2 && args[0] == "load") {
        return LoadOnce(args[1]);
    }
    std::fprintf(stderr,
                 "usage: kep-load-bench table FILE... | processes HOST PLUGINS FILE... | "
                 "load FILE | hash FILE...\n");
    return 2;
}
