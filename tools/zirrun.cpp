// Runs an intermediate file on the host, so that a C program compiled by
// zcppc can be run and its output compared with a host build.
//
//   zirrun [-steps N] FILE.o [ARGS...]
//   zirrun [-steps N] [ZCPPC FLAGS...] FILE.c [ARGS...]
//
// The file is loaded, main is called with argc and argv (the file name
// first, then ARGS), and zirrun exits with main's result or the value
// given to exit.  A source file is first compiled by the zcppc beside
// zirrun, with the flags before it and the folder of the library headers
// (include/) added to its include search.  -steps sets the budget of
// statements a run may execute.  The exit statuses of faults are listed in
// README.md.
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zirrun/machine.h"

namespace {

constexpr uint64_t DEFAULT_STEPS = 200000000;
constexpr size_t HOST_STACK = size_t(512) << 20;

int usage() {
    std::fputs("usage: zirrun [-steps N] FILE.o [ARGS...]\n"
               "       zirrun [-steps N] [ZCPPC FLAGS...] FILE.c [ARGS...]\n",
               stderr);
    return STATUS_USAGE;
}

bool read_file(const char *name, std::vector<uint8_t> *bytes) {
    FILE *in = std::fopen(name, "rb");
    if (!in) return false;
    uint8_t buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0) bytes->insert(bytes->end(), buffer, buffer + n);
    bool ok = !std::ferror(in);
    std::fclose(in);
    return ok;
}

// The folder that holds this program.
std::string own_folder(const char *argv0) {
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    std::string self = n > 0 ? std::string(path, size_t(n)) : std::string(argv0);
    size_t slash = self.rfind('/');
    return slash == std::string::npos ? "." : self.substr(0, slash);
}

bool is_folder(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Flags of zcppc that take their value from the next argument when it is
// written apart.
bool takes_value(const char *flag) {
    static const char *const flags[] = {"-a", "-d", "+e", "-h", "-i", "-m", "-o", "-w"};
    for (const char *f : flags)
        if (std::strcmp(flag, f) == 0) return true;
    return false;
}

bool ends_with(const std::string &s, const char *tail) {
    size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}

// Compiles `source` with zcppc into `output`; false when zcppc fails.
bool compile(const std::string &folder, const std::vector<std::string> &flags,
             const std::string &source, const std::string &output) {
    std::string zcppc = folder + "/zcppc";
    std::string include = folder + "/../include";
#ifdef ZIRRUN_INCLUDE_DIR
    if (!is_folder(include)) include = ZIRRUN_INCLUDE_DIR;
#endif
    std::vector<std::string> words = {zcppc};
    words.insert(words.end(), flags.begin(), flags.end());
    words.insert(words.end(), {"-i", include, "-o", output, source});
    std::vector<char *> argv;
    for (std::string &w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    std::fflush(nullptr);
    pid_t child = fork();
    if (child < 0) return false;
    if (child == 0) {
        execv(zcppc.c_str(), argv.data());
        std::fprintf(stderr, "zirrun: cannot run %s\n", zcppc.c_str());
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Run {
    const char *name;
    const std::vector<uint8_t> *bytes;
    uint64_t steps;
    int argc;
    char **argv;
    int result;
    size_t stack_room;         // how deep the host stack may grow
};

void set_up(Machine &m);

// Loads and runs the program.  Both recurse on the nesting of expressions,
// so both run on the large stack of their own thread.
void *run_thread(void *data) {
    Run *run = static_cast<Run *>(data);
    char base;
    Program program;
    Machine m;
    m.program = &program;
    m.step_limit = run->steps;
    m.host_stack_base = &base;
    m.host_stack_room = run->stack_room;
    if (!load_program(run->bytes->data(), run->bytes->size(), run->name, &program, &m.memory)) {
        run->result = STATUS_BAD_FILE;
        return nullptr;
    }
    set_up(m);
    machine = &m;
    run->result = run_main(run->argc, run->argv);
    machine = nullptr;
    return nullptr;
}

// Lays out the stack and the heaps behind the loaded data.
void set_up(Machine &m) {
    Program &p = *m.program;
    m.memory.low_start = p.low_start;
    m.memory.low_end = p.low_end;
    uint32_t near_heap = (p.near_end + 15) & ~15u;
    uint32_t far_heap = (p.far_end + 15) & ~15u;
    if (p.far_stack && FAR_LIMIT - far_heap > 2 * FAR_STACK_SIZE) {
        m.stack_low = far_heap;
        m.sp = far_heap + FAR_STACK_SIZE;
        far_heap = m.sp;
        m.heap.near_arena.limit = p.low_end;
    } else {
        uint32_t room = p.low_end - near_heap;
        uint32_t stack = std::min<uint32_t>(STACK_SIZE, room / 2) & ~15u;
        m.stack_low = p.low_end - stack;
        m.sp = p.low_end;
        m.heap.near_arena.limit = m.stack_low;
    }
    m.heap.near_arena.low = m.heap.near_arena.top = near_heap;
    m.heap.far_arena.low = m.heap.far_arena.top = far_heap;
    m.heap.far_arena.limit = FAR_LIMIT;
    if (m.memory.bytes.size() < m.heap.far_arena.top) m.memory.bytes.resize(m.heap.far_arena.top);
    m.single_float = p.options & HDR_SINGLE_FLOAT;
}

}  // namespace

int main(int argc, char **argv) {
    uint64_t steps = DEFAULT_STEPS;
    int k = 1;
    if (k < argc && std::strcmp(argv[k], "-steps") == 0) {
        if (k + 1 >= argc) return usage();
        char *end;
        steps = std::strtoull(argv[k + 1], &end, 10);
        if (*end || !*argv[k + 1]) return usage();
        k += 2;
    }
    std::vector<std::string> flags;
    while (k < argc && (argv[k][0] == '-' || argv[k][0] == '+')) {
        flags.push_back(argv[k]);
        if (takes_value(argv[k]) && k + 1 < argc) flags.push_back(argv[++k]);
        k++;
    }
    if (k >= argc) return usage();
    std::string file = argv[k];
    std::vector<uint8_t> bytes;
    if (ends_with(file, ".c")) {
        char temp[] = "/tmp/zirrun-XXXXXX";
        const char *tmpdir = std::getenv("TMPDIR");
        std::string pattern = std::string(tmpdir && *tmpdir ? tmpdir : "/tmp") + "/zirrun-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back(0);
        int fd = mkstemp(name.data());
        if (fd < 0) {
            fd = mkstemp(temp);
            if (fd < 0) { std::fprintf(stderr, "zirrun: cannot make a temporary file\n"); return STATUS_USAGE; }
            name.assign(temp, temp + sizeof temp);
        }
        close(fd);
        std::string output = name.data();
        bool ok = compile(own_folder(argv[0]), flags, file, output);
        if (ok) ok = read_file(output.c_str(), &bytes);
        std::remove(output.c_str());
        if (!ok) return STATUS_NO_COMPILE;
    } else {
        if (!flags.empty()) return usage();
        if (!read_file(file.c_str(), &bytes)) {
            std::fprintf(stderr, "zirrun: cannot read %s\n", file.c_str());
            return STATUS_USAGE;
        }
    }

    Run run{file.c_str(), &bytes, steps, argc - k, argv + k, 0, HOST_STACK - (size_t(32) << 20)};
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, HOST_STACK);
    pthread_t thread;
    if (pthread_create(&thread, &attr, run_thread, &run) == 0) {
        pthread_join(thread, nullptr);
    } else {
        run.stack_room = size_t(4) << 20;   // the main thread's stack is small
        run_thread(&run);
    }
    pthread_attr_destroy(&attr);
    std::fflush(stdout);
    return run.result & 0xFF;
}
