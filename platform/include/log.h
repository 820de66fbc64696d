// The Android log as the daemon uses it. On a phone these are liblog's own; on a host, records on standard error.
#pragma once

constexpr int ANDROID_LOG_VERBOSE = 2;
constexpr int ANDROID_LOG_DEBUG = 3;
constexpr int ANDROID_LOG_INFO = 4;
constexpr int ANDROID_LOG_WARN = 5;
constexpr int ANDROID_LOG_ERROR = 6;
constexpr int ANDROID_LOG_FATAL = 7;

// Writes one record of priority `prio` under `tag`. Trailing line feeds of the text are dropped by the reader.
// Returns a value of at least 0 on success.
extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

// A source file that logs under another tag defines LOG_TAG before it includes this header.
#ifndef LOG_TAG
#define LOG_TAG "vendordiag"
#endif

#define ALOGD(...) ((void)__android_log_print(ANDROID_LOG_DEBUG, LOG_TAG, __VA_ARGS__))
#define ALOGI(...) ((void)__android_log_print(ANDROID_LOG_INFO, LOG_TAG, __VA_ARGS__))
#define ALOGE(...) ((void)__android_log_print(ANDROID_LOG_ERROR, LOG_TAG, __VA_ARGS__))
