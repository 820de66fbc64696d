// The connection to the modem, opened in the background at start-up.
#include "support/modem_connection.h"

#include <atomic>

#include "platform/include/device.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "support/worker.h"

namespace {

constexpr int kConnectAttempts = 20;
constexpr int kQmiClient = 228;  // the library's own numbers, passed on unchanged
constexpr int kQmiFlags = 1;

std::atomic<unsigned char> qmi_init_done{0};  // written by the connection thread, read by handlers

}  // namespace

void vendor_diag_modem_api_init() {
    ALOGD("%s\n", __func__);
    qmi_init_done = 0;
    pthread_t thread{};
    const int res = start_worker(vendor_diag_modem_api_init_proc, nullptr, &thread);
    ALOGD("%s : res, pid %d, %d", __func__, res, static_cast<int>(thread));
}

void* vendor_diag_modem_api_init_proc(void* /*arg*/) {
    ALOGE("%s\n", __func__);  // Kept: error level marks the thread's start in the error log
    for (int left = kConnectAttempts - 1; left >= 0; --left) {
        if (modem_api_init_qmi_connection(kQmiClient, kQmiFlags) == 0) {
            qmi_init_done = 1;
            ALOGD("%s : modem_api_init SUCCESS", __func__);
            return nullptr;
        }
        ALOGD("%s : modem_api_init error, retry left %d times, total retry %d times", __func__, left, kConnectAttempts);
        device_sleep(1);
    }
    return nullptr;
}

unsigned char is_qmi_init_done() { return qmi_init_done; }
