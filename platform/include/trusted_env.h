// The trusted environment's client interface: objects that are invoked by method number with packed arguments.
#pragma once

#include <cstddef>
#include <cstdint>

struct Object;
union ObjectArg;

using ObjectOp = uint32_t;
using ObjectCounts = uint32_t;
// Input buffers stand first in `args`, then output buffers, input objects and output objects. Returns kObjectOk or the
// service's own error. All calls come from the diag library's thread, and wait for the trusted environment's answer.
using ObjectInvoke = int32_t(void* context, ObjectOp op, ObjectArg* args, ObjectCounts counts);

// A handle on a remote object; a null `invoke` is no object.
struct Object {
    ObjectInvoke* invoke;
    void* context;
};

struct ObjectBuf {
    void* ptr;
    size_t size;
};

struct ObjectBufIn {
    const void* ptr;
    size_t size;
};

union ObjectArg {
    ObjectBuf b;
    ObjectBufIn bi;
    Object o;
};

constexpr int32_t kObjectOk = 0;
constexpr ObjectOp kObjectOpRelease = 65535;
constexpr ObjectOp kClientEnvOpen = 0;            // one input buffer (service UID), one output object
constexpr ObjectOp kRpmbServiceProvisionKey = 0;  // one input buffer (4 bytes, 0)
constexpr ObjectOp kRpmbServiceCheckProv = 2;     // no arguments; the result is the key status
constexpr uint32_t kRpmbServiceUid = 274;

// Packs the number of arguments of each kind, in their order in the argument array.
constexpr ObjectCounts object_counts(unsigned buffers_in, unsigned buffers_out, unsigned objects_in,
                                     unsigned objects_out) {
    return buffers_in | (buffers_out << 4) | (objects_in << 8) | (objects_out << 12);
}

// Obtains the client environment. Returns 0 on success; the object is released with kObjectOpRelease. On failure
// `*client_env` is left as it was: no object.
extern "C" int32_t TZCom_getClientEnvObject(Object* client_env);
