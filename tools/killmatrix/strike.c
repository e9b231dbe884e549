/* A library for LD_PRELOAD in Wine's processes. It counts the calls of one program with which that program
 * touches the world, and ends the program with SIGKILL before the call of a given number, or lets the disk be
 * full from that call on. Requests to the registry and the service manager are writes to the Wine server, and
 * so count like any other.
 *
 * What it does stands in a file of sizeof(struct control) that is mapped by every process, whose path
 * KILLMATRIX_CONTROL holds. Whoever runs the matrix maps it too: it may arm at any time, and reads the count
 * of a program that is gone. Its layout stands once more in runner.py. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

enum mode { mode_off, mode_count, mode_kill, mode_full_disk };

struct control {
    _Atomic uint32_t mode;
    uint32_t reserved;
    _Atomic uint64_t at;    /* the call's number, from 1 */
    _Atomic uint64_t count; /* calls since the runner set it to 0 */
    _Atomic uint64_t hits;  /* kills, or writes that failed */
    char program[64];       /* as the process's command line names it, without a folder, in small letters */
    char folder[1024];      /* only files below it are on the full disk */
};

static struct control* g_control;
static char g_program[64];

/* The name of the Windows program that this process runs, for Wine's loader has it as its first argument. */
static void find_program(void) {
    char line[4096];
    const int file = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    if (file < 0) return;
    const ssize_t size = read(file, line, sizeof(line) - 1);
    close(file);
    if (size <= 0) return;
    line[size] = 0;
    const size_t loader = strlen(line);
    if (loader + 1 >= (size_t)size || strstr(line, "wine") == NULL) return;
    const char* name = line + loader + 1;
    for (const char* at = name; *at != 0; ++at) {
        if (*at == '/' || *at == '\\') name = at + 1;
    }
    for (size_t i = 0; i + 1 < sizeof(g_program) && name[i] != 0; ++i)
        g_program[i] = (char)(name[i] >= 'A' && name[i] <= 'Z' ? name[i] + 32 : name[i]);
}

__attribute__((constructor)) static void load(void) {
    const char* path = getenv("KILLMATRIX_CONTROL");
    if (path == NULL) return;
    find_program();
    if (g_program[0] == 0) return;
    const int file = open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) return;
    void* map = mmap(NULL, sizeof(struct control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (map != MAP_FAILED) g_control = map;
}

static int is_on_full_disk(int file) {
    char link[64];
    char path[2048];
    snprintf(link, sizeof(link), "/proc/self/fd/%d", file);
    const ssize_t size = readlink(link, path, sizeof(path) - 1);
    if (size <= 0) return 0;
    path[size] = 0;
    return strncmp(path, g_control->folder, strlen(g_control->folder)) == 0;
}

/* Counts a call, and ends the process when it is the one. Nonzero when the call has to fail with ENOSPC;
 * `file` is what it writes to, or -1. */
static int before_call(int file) {
    if (g_control == NULL || g_control->mode == mode_off || strcmp(g_program, g_control->program) != 0)
        return 0;
    const uint64_t number = atomic_fetch_add(&g_control->count, 1) + 1;
    if (g_control->mode == mode_kill && number == g_control->at) {
        atomic_fetch_add(&g_control->hits, 1);
        kill(getpid(), SIGKILL);
        for (;;)
            pause();
    }
    if (g_control->mode != mode_full_disk || number < g_control->at || file < 0 || !is_on_full_disk(file))
        return 0;
    atomic_fetch_add(&g_control->hits, 1);
    errno = ENOSPC;
    return 1;
}

/* The function of that name behind this one. */
#define REAL(name)                   \
    static __typeof__(&(name)) real; \
    if (real == NULL) real = (__typeof__(&(name)))dlsym(RTLD_NEXT, #name)

#define WRAP(result, name, file, parameters, arguments) \
    result name parameters {                            \
        REAL(name);                                     \
        if (before_call(file)) return -1;               \
        return real arguments;                          \
    }

WRAP(ssize_t, write, fd, (int fd, const void* data, size_t size), (fd, data, size))
WRAP(ssize_t, pwrite, fd, (int fd, const void* data, size_t size, off_t at), (fd, data, size, at))
WRAP(ssize_t, pwrite64, fd, (int fd, const void* data, size_t size, off64_t at), (fd, data, size, at))
WRAP(ssize_t, writev, fd, (int fd, const struct iovec* parts, int count), (fd, parts, count))
WRAP(ssize_t, send, -1, (int fd, const void* data, size_t size, int flags), (fd, data, size, flags))
WRAP(ssize_t, sendmsg, -1, (int fd, const struct msghdr* message, int flags), (fd, message, flags))
WRAP(int, ftruncate, fd, (int fd, off_t size), (fd, size))
WRAP(int, ftruncate64, fd, (int fd, off64_t size), (fd, size))
WRAP(int, fsync, -1, (int fd), (fd))
WRAP(int, fdatasync, -1, (int fd), (fd))
WRAP(int, rename, -1, (const char* from, const char* to), (from, to))
WRAP(int, unlink, -1, (const char* path), (path))
