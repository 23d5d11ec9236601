// libFuzzer target for the OBJ and MTL reader. Each input is a model and its library: the bytes up to the
// first NUL are the OBJ file, the bytes after it the MTL file that "mtllib fuzz.mtl" names.
//
// The reader ends the program with status 1 and a message of its own on a file it can't use; that is an
// outcome, not a crash. So each input runs in a child process, and the parent tells the outcomes apart: a
// return, or status 1 after one of the reader's messages, is fine; anything else (a signal, a sanitizer
// report, which aborts, another status, status 1 without the message) is a crash, which the parent turns
// into one of its own so that libFuzzer keeps the input. The child hands its coverage counters back
// through shared memory before it ends, so the search stays guided.

#include "geometry/obj_reader.h"

#include <sanitizer/common_interface_defs.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

// The coverage counters of the instrumentation, one section that the linker bounds.
extern "C" uint8_t __start___sancov_cntrs[] __attribute__((weak));
extern "C" uint8_t __stop___sancov_cntrs[] __attribute__((weak));

// A sanitizer report ends the process with status 1 by default, as the reader's designed exits do; an
// abort keeps the two apart.
extern "C" const char* __asan_default_options() {
    return "abort_on_error=1";
}
extern "C" const char* __ubsan_default_options() {
    return "abort_on_error=1:print_stacktrace=1";
}

namespace {

// Ends the run of a child whose reader does not come back.
constexpr unsigned kChildSeconds = 20;

// The ends of the reader's designed messages (Unknown token goes to standard output, the others to
// standard error; both reach the parent through one pipe).
const char* const kDesignedMessages[] = {
    "glmReadOBJ() failed: can't open data file \"",
    "glmReadMTL() failed: can't open material file \"",
    "glmFirstPass(): Unknown token \"",
    "is out of range (the file has ",
};

size_t counterCount() {
    return size_t(__stop___sancov_cntrs - __start___sancov_cntrs);
}

uint8_t* sharedCounters() {
    static uint8_t* const shared = [] {
        void* memory =
            mmap(nullptr, counterCount() + 1, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            std::abort();
        return static_cast<uint8_t*>(memory);
    }();
    return shared;
}

// In the child: its counters go to the parent, and the process ends without running the rest of its exit
// (libFuzzer's handler would call the exit a crash, and the leak check at exit would only find what the
// reader's designed exit leaves behind).
void handBackAndEnd(int status, void*) {
    std::fflush(stdout);
    std::memcpy(sharedCounters(), __start___sancov_cntrs, counterCount());
    _exit(status);
}

[[noreturn]] void runChild(const std::string& objPath) {
    signal(SIGALRM, SIG_DFL);
    alarm(kChildSeconds);
    on_exit(handBackAndEnd, nullptr);
    // Leaks are the sanitizer suite's to find: a leak check in a child forked from libFuzzer's threads is
    // not reliable. The map names outlive a model on purpose; the target frees them as Geometry would.
    verdanium::ObjModel* model = verdanium::glmReadOBJ(objPath.c_str());
    for (uint32_t i = 0; i < model->materialCount; ++i) {
        std::free(model->materials[i].diffuseMap);
        std::free(model->materials[i].specularMap);
        std::free(model->materials[i].ambientMap);
    }
    verdanium::glmFreeModel(model);
    std::exit(0);
}

// Standard output reaches the pipe only when the child ends, after what it wrote on standard error, so the
// message may stand on any line.
bool holdsDesignedMessage(const std::string& output) {
    for (const char* message : kDesignedMessages)
        if (output.find(message) != std::string::npos)
            return true;
    return false;
}

void writeFile(const std::string& path, const uint8_t* data, size_t size) {
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);
}

const std::string& folder() {
    static const std::string path = [] {
        char name[] = "/tmp/verdanium-fuzz-obj-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        return std::string(name);
    }();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const uint8_t* nul = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t objSize = nul ? size_t(nul - data) : size;
    const std::string objPath = folder() + "/fuzz.obj";
    writeFile(objPath, data, objSize);
    writeFile(folder() + "/fuzz.mtl", nul ? nul + 1 : data + size, nul ? size - objSize - 1 : 0);

    int output[2];
    if (pipe(output) != 0)
        std::abort();
    std::memset(sharedCounters(), 0, counterCount());
    const pid_t child = fork();
    if (child < 0)
        std::abort();
    if (child == 0) {
        close(output[0]);
        dup2(output[1], STDOUT_FILENO);
        dup2(output[1], STDERR_FILENO);
        close(output[1]);
        // libFuzzer sends sanitizer reports to a file of its own when it closes the standard streams; the
        // child's go to the parent with the rest of its output.
        __sanitizer_set_report_fd(reinterpret_cast<void*>(uintptr_t(STDERR_FILENO)));
        runChild(objPath);
    }
    close(output[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = read(output[0], buffer, sizeof buffer)) != 0;) {
        if (got > 0)
            text.append(buffer, size_t(got));
        else if (errno != EINTR)
            break;
    }
    close(output[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    const bool returned = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    const bool designedExit = WIFEXITED(status) && WEXITSTATUS(status) == 1 && holdsDesignedMessage(text);
    if (!returned && !designedExit) {
        std::fprintf(stderr, "the reader's child ended with status %#x after this output:\n%s\n", status,
                     text.c_str());
        std::abort();
    }
    // The child began as a copy of this process, so its counters hold the whole run.
    std::memcpy(__start___sancov_cntrs, sharedCounters(), counterCount());
    return 0;
}
