#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Whether a sound file will decode, found cheaply before anything starts: FFmpeg
// opens it, finds an audio stream whose decoder opens (the first, as the sound
// plug-in chooses) and decodes that stream's first samples, which must be of a
// sample format the sound system takes; the rest of the file is not read.
// Nothing when it decodes, else why not, in FFmpeg's words where
// FFmpeg gives them ("Invalid data found when processing input"). Only regular
// files are opened: FFmpeg would wait forever for a FIFO's writer.
//
// `pcmBytes`, if given, gets about how many bytes of PCM the whole file decodes
// to, from the length its container declares (0 where it declares none).
[[nodiscard]] std::optional<std::string> ProbeSoundFile(const std::filesystem::path& file,
                                                        double* pcmBytes = nullptr);
