// Faults in the system calls that the daemon's own code makes: counting them, and making the n-th one fail or move less
// than it was asked to. Calls from inside libraries are not seen.
#pragma once

enum class Call {
    kOpen,  // open and openat
    kRead,
    kWrite,
    kPread,
    kPwrite,
    kLseek,
    kFcntl,
    kFsync,
    kClose,
    kAccess,
    kStat,  // stat, lstat and fstat
    kRename,
    kUnlink,  // unlink and remove
    kMkdir,
    kFopen,  // fopen and fdopen
    kSpawn,  // behind device_system and device_popen
    kThreadCreate,
    kMalloc,  // malloc and calloc
    kNew,     // operator new, also inside libraries; the fault is a bad_alloc
};
constexpr unsigned kCallKinds = static_cast<unsigned>(Call::kNew) + 1;

// Counts, and fails, calls of the whole process while it lives. One at a time.
class Faults {
   public:
    Faults();
    ~Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    // The `nth` call of that kind from now on (1: the next), and `times` - 1 more behind it, fail with `error`.
    void fail(Call call, unsigned nth, int error, unsigned times = 1);
    // The `nth` read or write from now on moves at most `bytes` bytes.
    void shorten(Call call, unsigned nth, unsigned bytes);

    // Calls of one kind, and of every kind but memory, since this object was made or reset.
    unsigned count(Call call) const;
    unsigned system_calls() const;
    void reset();
};
