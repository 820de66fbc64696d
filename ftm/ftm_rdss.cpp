// The commands of the RDSS chip test: each runs one step of it and reports its result.
#include "ftm/ftm_rdss.h"

#include <string_view>

#include "platform/include/log.h"
#include "rdss/chip_test.h"
#include "rdss/sentence_reader.h"
#include "rdss/serial_port.h"

namespace {

// The two queries' common end: the text is the message, without a terminator of its own.
FtmStatus report_query(const char* name, int result, const char* (*read_text)(), FtmMessage& message) {
    if (result == 0) {
        (void)std::string_view(read_text()).copy(reinterpret_cast<char*>(message.bytes), kFtmMsgSize);
        ALOGD("%s: rsp_msg = %s\n", name, message.text());
    }
    ALOGD("%s: result = %d\n", name, result);
    return ftm_status(result == 0);
}

}  // namespace

FtmStatus ftm_diag_req_cmd_startRchipTest(FtmArgs, FtmMessage&) {
    const int result = rdss_chip_start();
    ALOGD("%s: result = %d,mSerialDeviceFd = %d\n", __func__, result, serial_port.fd);
    return ftm_status(result == 0);
}

FtmStatus ftm_diag_req_cmd_stopRchipTest(FtmArgs, FtmMessage&) {
    const int result = rdss_chip_stop();
    ALOGD("%s: result = %d,mSerialDeviceFd = %d\n", __func__, result, serial_port.fd);
    return ftm_status(result == 0);
}

FtmStatus ftm_diag_req_cmd_closeRchipTest(FtmArgs, FtmMessage&) {
    const int result = rdss_chip_close();
    ALOGD("%s: result = %d\n", __func__, result);
    return ftm_status(result == 0);
}

FtmStatus ftm_diag_req_cmd_sendRchipCN(FtmArgs, FtmMessage& message) {
    return report_query(__func__, rdss_chip_query_cn(), get_rdss_chip_cn, message);
}

FtmStatus ftm_diag_req_cmd_sendRchipNewCN(FtmArgs, FtmMessage& message) {
    return report_query(__func__, rdss_chip_query_cn_new(), get_rdss_chip_cn_new, message);
}

FtmStatus ftm_diag_req_cmd_sendRchipCCTCQ(FtmArgs, FtmMessage&) {
    const int result = rdss_chip_send_message();
    ALOGD("%s: sendresult = %d\n", __func__, result);
    return ftm_status(result == 0);
}
