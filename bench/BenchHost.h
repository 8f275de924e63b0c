// A host in miniature for the benchmark and long-run programs: the service, one presentation
// opened through it, and a streamer over a ring the program owns (the program positions and
// drains it). Everything runs on the program's main thread except the streamer's own thread.
//
// Failures end the process at once with one line "PROGRAM: why" on standard error and exit
// status 1, without teardown (a streamer may be in an unknown state).
#pragma once

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "platform/ContigMemBuffer.h"
#include "velar/Mp4Service.h"

namespace velar_bench {

[[noreturn]] inline void fail(const char* program, const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", program, message.c_str());
    std::fflush(stderr);
    _exit(1);
}

struct BenchHost {
    // Opens `input` as `mimeType` and creates a streamer over a ring of `ringBytes`; `program`
    // names the caller in failure lines.
    BenchHost(const char* program, const std::string& input, const std::string& mimeType, size_t ringBytes) {
        try {
            file = service.openPath(input, mimeType);
        } catch (const std::exception& e) {
            fail(program, input + ": " + e.what());
        }
        if (!file) {
            fail(program, "cannot open " + input);
        }
        ring = std::make_shared<ContigMemBuffer>(ringBytes);
        streamer = service.createStreamer(file, ring);
        if (!streamer) {
            fail(program, "cannot create a streamer for " + input);
        }
    }

    velar::Mp4Service service;
    std::shared_ptr<avfile::IAvFile> file;
    std::shared_ptr<ContigMemBuffer> ring;
    std::shared_ptr<avfile::IAvStreamer> streamer;  // released first, then the ring and the file
};

}  // namespace velar_bench
