// File and shell helpers that the command families share. Their limits are what the factory tool sees.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/include/handles.h"

constexpr size_t kProcReadSize = 20;    // buffer of proc_read
constexpr size_t kExecLineRoom = 1024;  // what executeCMD may append beyond its limit
constexpr size_t kMd5TextSize = 33;     // 32 digits and a terminator

// Reads a short node: at most 19 bytes into `buf` (kProcReadSize bytes), terminated. Returns the number of bytes read,
// 0 when the node cannot be opened, negative on a read error.
int proc_read(const char* path, char* buf);

// Reads a file into `out` of `size` bytes, terminated; one line feed at the very end is dropped. An empty file leaves
// `out` untouched. Returns 0, or -1 when the file cannot be opened.
int read_file(const char* path, char* out, uint32_t size);

// Reads a whole file into a new terminated buffer and stores its size in `*len`. Returns null, with `*len` 0, when it
// cannot be opened; the caller frees.
char* GetConfFileItem(const char* path, uint32_t* len);

// The same, with its progress on standard output.
char* ftm_GetConfFileItem(const char* path, uint32_t* len);

// Removes a file. Returns 0 when it is gone or was not there, 1 for a null path or a failed removal.
int ftm_diag_delete_file(const char* path);

// Empties a directory tree; the directory itself stays. Returns the result of the last file-system call.
int delete_dirtory(const char* path);

// 0 when the path exists, else -1.
int is_file_exist(const char* path);

// Runs a shell command (cut at 1023 bytes) and appends its output to `out`, line by line, until the text's length has
// reached `size` - 1; `out` needs room for `size` + kExecLineRoom bytes. Returns the status of closing the pipe, or the
// byte count of the error line when the command cannot be started.
int executeCMD(const char* command, char* out, size_t size);

// Reads at most `max` bytes of a stream into `buf` (`max` + 1 bytes), terminated. False on a read error.
bool fread_file_content(FILE* stream, char* buf, uint32_t* len, int max);

// Reads at most 4093 bytes of a file into `area` (2 + 4093 + 2 bytes): a little-endian u16 length, then the data. False
// when the file cannot be opened or read.
bool read_file_content(const char* path, unsigned char* area);

// Runs a command and keeps the first 32 bytes of its output in `out` (kMd5TextSize bytes); `*len` is then 32, whatever
// was read. False when the command cannot be started or read.
bool get_md5_value(const char* command, char* out, uint16_t* len);

// Waits until the USB supply reads as removed, looking once a second, for ever. Returns 1.
int ftm_diag_power_usb_present();

// The directory of persistent files: "/persist", or "/mnt/vendor/persist" where that does not exist (logged).
const char* persist_dir();
// A path below it, cut to the 127 characters that a path may have.
std::string persist_path(const char* suffix);

// The step of writing a file at which it ended.
enum class WriteStep { kDone, kWriteFailed, kSyncFailed, kCloseFailed };
// Writes `size` bytes in one call (a short write is a failure), synchronises and closes. Closes in every case.
WriteStep write_sync_close(UniqueFd fd, const void* data, size_t size);

// Opens a file that is made with exactly these mode bits, whatever the process's umask.
int open_exact_mode(const char* path, int flags, mode_t mode);

// Reads a short text: once, at most `max` bytes into `out` (`max` + 1 bytes), followed by zeros in every case. Returns
// the number of bytes read, -1 on a read error, kTextNotOpened when the file cannot be opened.
constexpr ssize_t kTextNotOpened = -2;
ssize_t read_short_text(const char* path, char* out, size_t max);

// Reads once, repeating a call that a signal interrupted. Result as read(2).
ssize_t read_once(int fd, void* buffer, size_t size);

// Runs a command through executeCMD with the limit of 512 bytes and returns its output.
std::string run_and_capture(const char* command);

// True when the text holds only characters that mean nothing to a shell (letters, digits, . _ : / = + - , @ %), and
// blanks where they are allowed.
bool is_shell_safe(const std::string& text, bool blanks_allowed);

// Copies a terminated text into a message area, cut to kFtmMsgSize - 1 characters.
void message_text(unsigned char* rsp_msg, const char* text);
// Copies the value of a property (default empty) into a message area when it is not empty. Returns its length.
int message_property(unsigned char* rsp_msg, const char* property);
