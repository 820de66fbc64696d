// What the client's tests stand on: the real program run as a child, and a peer that answers as it is told.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct ClientRun {
    int status = -1;
    std::string out;
    std::string err;
    double seconds = 0;
};

// A file of this test alone, removed with the object. Tests run side by side: none may have a fixed name.
class ScratchFile {
   public:
    explicit ScratchFile(const std::string& text = "");
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    void write(const std::string& text) const;
    std::string read() const;
    const std::string& path() const { return path_; }

   private:
    std::string path_;
};

// Runs vdiag with these arguments. `input` is its standard input.
ClientRun run_client(const std::vector<std::string>& arguments, const std::string& input = "");

// A frame as it goes over the wire.
Bytes frame(const Bytes& packet);

// The request that nobody serves, which goes ahead of every other, and the frame a phone answers it with.
bool is_mark(const uint8_t* packet, size_t size);
Bytes mark_echo(const uint8_t* packet, size_t size);

// A peer on a Unix socket, which answers marks by itself and counts none. `reply` gets each request packet and gives
// the bytes to send back as they are; it may close the connection by setting `hang_up`.
class FakePeer {
   public:
    using Reply = std::function<Bytes(const Bytes& request, bool* hang_up)>;
    explicit FakePeer(Reply reply);
    ~FakePeer();
    FakePeer(const FakePeer&) = delete;
    FakePeer& operator=(const FakePeer&) = delete;

    // After a request, sends these bytes again and again instead, until the client has gone.
    void flood(const Bytes& unit) { flood_ = unit; }
    std::string address() const { return "unix:" + path_; }
    std::vector<Bytes> requests() const { return requests_; }  // once the client has ended
    unsigned connections() const { return connections_; }

   private:
    void serve();
    void serve_client(int fd);
    void send_flood(int fd) const;
    Reply reply_;
    Bytes flood_;
    std::string directory_;
    std::string path_;
    int listener_ = -1;
    std::atomic<bool> stopping_{false};
    std::atomic<unsigned> connections_{0};
    std::vector<Bytes> requests_;
    std::thread thread_;
};
