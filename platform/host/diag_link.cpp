// Reading, sending, and the coming and going of clients on one line.
#include "platform/host/diag_link.h"

#include <sys/socket.h>

#include <cerrno>

#define LOG_TAG "diag"
#include "platform/host/diag_library.h"
#include "platform/host/diag_listen.h"
#include "platform/host/internal.h"
#include "platform/include/log.h"

namespace {

using Clock = std::chrono::steady_clock;

void forget_stream(DiagLink* link) {
    link->decoder = HdlcDecoder{};
    link->input_at = link->input_end = 0;
    diag_link_drop_output(link);
}

// The other end is gone: for good (socket), or until another client comes (terminals).
void lose_peer(DiagLink* link) {
    if (link->socket()) {
        link->dead = true;
        return;
    }
    forget_stream(link);
    std::string error;
    if (link->kind == AddressKind::kTty) {
        ALOGE("%s: hung up, waiting for it", link->name.c_str());
        (void)link->fd.close();
        link->retry_at = Clock::now() + kDiagRetry;
    } else if (!diag_pty_clean(&link->pty, &error)) {
        ALOGE("%s: %s", link->name.c_str(), error.c_str());
        link->dead = true;
    }
}

// The event that the end of a frame makes, after a look at whose frame it is: a client that has left a pseudo-terminal
// may have left the beginning of one.
HdlcEvent judge_frame(DiagLink* link, HdlcEvent event) {
    const bool cut = link->own_changes != link->pty.changes;
    const bool bad = event == HdlcEvent::kBadChecksum;
    if (bad || !link->has_input()) {
        link->own_changes = link->pty.changes;
    }
    return cut && bad && hdlc_drop_foreign_start(&link->decoder) ? HdlcEvent::kPacket : event;
}

}  // namespace

void diag_link_forget(DiagLink* link) {
    forget_stream(link);
    link->dead = link->socket();
}

void diag_link_read(DiagLink* link) {
    const ssize_t size = read(link->descriptor(), link->input.data(), link->input.size());
    if (size > 0) {
        link->input_at = 0;
        link->input_end = static_cast<size_t>(size);
        // Who is there is looked at behind the reading: a request that a new client has just sent is its own.
        diag_link_refresh(link);
    } else if (size == 0 && link->socket()) {
        link->ended = true;
    } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
        lose_peer(link);
    }
}

HdlcEvent diag_link_decode(DiagLink* link) {
    HdlcEvent event = HdlcEvent::kNone;
    link->input_at +=
        hdlc_decode(&link->decoder, &link->input[link->input_at], link->input_end - link->input_at, &event);
    return event == HdlcEvent::kNone ? event : judge_frame(link, event);
}

void diag_link_answer(DiagLink* link, const void* response) {
    if (!link->deaf) {
        hdlc_encode(static_cast<const uint8_t*>(response), diag_response_size(response), &link->output);
        host_record("answer " + std::to_string(diag_response_size(response)));
    }
}

void diag_link_send(DiagLink* link) {
    diag_link_refresh(link);
    if (link->kind == AddressKind::kPty && diag_pty_deserted(link->pty)) {
        diag_link_drop_output(link);
    }
    if (!link->has_output()) {
        return;
    }
    const uint8_t* const data = &link->output[link->output_at];
    const size_t left = link->output.size() - link->output_at;
    const ssize_t size =
        link->socket() ? send(link->fd.get(), data, left, MSG_NOSIGNAL) : write(link->descriptor(), data, left);
    if (size == static_cast<ssize_t>(left)) {
        diag_link_drop_output(link);
    } else if (size >= 0 || errno == EAGAIN || errno == EINTR) {
        link->output_at += size > 0 ? static_cast<size_t>(size) : 0;
        link->blocked = true;
    } else {
        link->deaf = link->socket();  // its requests stay; a terminal's hang-up shows when it is read
        diag_link_drop_output(link);
    }
}

void diag_link_refresh(DiagLink* link) {
    if (link->kind == AddressKind::kPty && diag_pty_refresh(&link->pty)) {
        diag_link_drop_output(link);
    }
}

void diag_link_drop_output(DiagLink* link) {
    link->output.clear();
    link->output_at = 0;
    link->blocked = false;
}

void diag_link_reopen(DiagLink* link) {
    if (Clock::now() < link->retry_at) {
        return;
    }
    link->retry_at = Clock::now() + kDiagRetry;
    std::string ignored;  // it is not back yet
    if (diag_open_tty(link->name.substr(link->name.find(':') + 1), &link->fd, &ignored)) {
        ALOGI("%s: is back", link->name.c_str());
    }
}

void diag_link_close(DiagLink* link) {
    if (link->kind == AddressKind::kPty) {
        diag_pty_close(&link->pty);
    } else if (link->socket()) {
        // A child that is just being started may hold a copy for a moment; the client sees the end all the same.
        (void)shutdown(link->fd.get(), SHUT_RDWR);
    }
}
