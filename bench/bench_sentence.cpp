// The sentence reader with nobody reading the log, against a loop that only copies bytes; and such a log line itself.
#include <fcntl.h>
#include <unistd.h>

#include "bench/ratio.h"
#include "platform/host/host.h"
#include "platform/include/log.h"
#include "rdss/sentence_reader.h"

namespace {

// A second of a chip's traffic: positions and satellites, now and then an answer.
std::string traffic() {
    std::string stream;
    for (int i = 0; i < 100; i++) {
        stream += "$GNGGA,080910.00,3958.12345,N,11620.54321,E,1,12,0.8,52.3,M,-8.5,M,,*5C\r\n";
        stream += "$BDGSV,3,1,10,01,45,123,41,02,33,234,38,03,51,187,42,04,27,119,36,1*7A\r\n";
        stream += "$GNRMC,080910.00,A,3958.12345,N,11620.54321,E,0.01,12.3,221123,,,A,V*1B\r\n";
        stream += i % 10 == 0 ? "$QXDFTCNQ,2,41.2*28\r\n" : "";
    }
    return stream;
}

void sentence_reader(benchmark::State& state) {
    const std::string stream = traffic();
    rdss_data_reader_init();
    for (auto _ : state) {
        for (const char c : stream) {
            benchmark::DoNotOptimize(rdss_data_reader_addc(static_cast<unsigned char>(c)));
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
}
BENCHMARK(sentence_reader)->Apply(repeat_five);

void copy_bytes(benchmark::State& state) {
    const std::string stream = traffic();
    std::string copy(stream.size(), '\0');
    for (auto _ : state) {
        for (size_t i = 0; i < stream.size(); i++) {
            copy[i] = stream[i];
            benchmark::ClobberMemory();
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
}
BENCHMARK(copy_bytes)->Apply(repeat_five);

void unread_log_line(benchmark::State& state) {
    int position = 0;
    for (auto _ : state) {
        ALOGD("%s: c = %c,r->pos111 = %d", "rdss_data_reader_addc", '$', position++);
    }
}
BENCHMARK(unread_log_line)->Apply(repeat_five);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const int nobody = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nobody < 0 || dup2(nobody, STDERR_FILENO) < 0) {
        return 1;
    }
    RatioReporter reporter(
        {{"sentence_reader", "copy_bytes", "at least 100 MB/s"}, {"unread_log_line", nullptr, "under 300 ns"}});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
