// Numbered factory commands: board data, manufacture flag, operator and hardware ids, and the table of them all. The
// IMEI signature, the keybox transfer and log capture live in files of their own.
#include "factory/factory_diag.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "factory/factory_request.h"
#include "factory/mdlog.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/vendor_utils.h"
#include "vendorcfg/vendorcfg.h"

namespace {
constexpr const char* kMasterOperator = "factory.cfg.master_operator_id";
constexpr const char* kSlaveOperator = "factory.cfg.slave_operator_id";
constexpr const char* kHwBoardId = "factory.cfg.hw_board_id";  // in the store and at the modem

constexpr uint16_t kHeaderOnly = kDiagHeaderSize;
constexpr uint16_t kRecordResponse = kFactoryPayloadOffset + kBoardRecordSize;

constexpr FactoryCommand kBoardRead = {1, kRecordResponse, kHeaderOnly, "factory_diag_board_read_func",
                                       kBoardRecordSize};
constexpr FactoryCommand kBoardWrite = {2, 8, kHeaderOnly + 1, "factory_diag_board_write_func"};
constexpr FactoryCommand kFlagCheck = {
    // Kept: the line about a null request names the command otherwise, and ends without a blank.
    .code = 5,        .response_size = 12, .shortest = kHeaderOnly, .name = "factory_diag_manufacture_flag_read_func",
    .null_end = "\n",
};
constexpr FactoryCommand kFlagClear = {6, 8, kHeaderOnly, "factory_diag_manufacture_flag_clear_func"};
constexpr FactoryCommand kOperatorGet = {13, 16, 0, "factory_diag_get_operator_info", 8};
constexpr FactoryCommand kOperatorSet = {12, 8, 0, "factory_diag_set_operator_info"};
constexpr FactoryCommand kHwBoardGet = {14, 12, 0, "factory_diag_get_hw_board_id", 4};
constexpr FactoryCommand kHwBoardSet = {15, 8, 0, "factory_diag_set_hw_board_id"};
constexpr FactoryCommand kMcfRead = {16, kRecordResponse, kHeaderOnly, "factory_diag_mcf_read_func", kBoardRecordSize};
constexpr FactoryCommand kMcfWrite = {17, 8, kHeaderOnly + 1, "factory_diag_mcf_write_func"};
constexpr FactoryCommand kCcfCheck = {18, kRecordResponse, kHeaderOnly, "factory_diag_ccf_check_func",
                                      kBoardRecordSize};
constexpr FactoryCommand kOperationByType = {
    .code = 23,
    .response_size = 12,
    .shortest = 0,
    .name = "factory_diag_get_operation_by_type_func",
    .null_end = " ",
    .no_room_end = "",
};

using RecordGetter = int(unsigned char* buffer, int* length);
using RecordSetter = int(const unsigned char* data, int length);

void* read_record(const FactoryCommand& command, const void* request, uint16_t length, RecordGetter* getter) {
    return factory_serve(command, request, length, [getter](RequestView, uint8_t* rsp) {
        unsigned char record[kBoardRecordSize] = {};
        int record_length = kBoardRecordSize;
        if (getter(record, &record_length) != 1) {
            ALOGE("read FAIL \n");
            return kFactoryFailed;
        }
        memcpy(rsp + kFactoryPayloadOffset, record, sizeof(record));
        return kFactoryOk;
    });
}

void* write_record(const FactoryCommand& command, const void* request, uint16_t length, RecordSetter* setter) {
    return factory_serve(command, request, length, [setter](RequestView view, uint8_t*) {
        unsigned char record[kBoardRecordSize];
        request_copy(view, kDiagHeaderSize, record, sizeof(record));
        switch (setter(record, kBoardRecordSize)) {
            case 0:
                ALOGE("write FAIL \n");
                return kFactoryFailed;
            case 2:
                ALOGE("sync FAIL \n");
                return kFactoryNotSynced;
            default:
                return kFactoryOk;
        }
    });
}

int decimal(const char* text) { return static_cast<int>(strtoll(text, nullptr, 10)); }

// The board id that store and modem agree on, in `*id`; a store without one takes the modem's. Status of the command.
uint32_t agreed_hw_board_id(int* id) {
    char modem_text[kModemPropertyMax] = {};
    if (modem_api_get_modem_property_sync(kHwBoardId, modem_text) != 0) {
        return kFactoryError;
    }
    ALOGD("modem_read_efs read efs hw module ver data success, hw_module_ver = %s", modem_text);
    const int modem_id = decimal(modem_text);
    int store_id = 0;
    if (cfg_get_int(kHwBoardId, &store_id) != 1) {
        ALOGE("cannot get the hw id of vendorcfg,need to update it");
        if (cfg_set_int(kHwBoardId, modem_id) != 1) {
            return kFactoryError;
        }
    } else if (store_id != modem_id) {
        // Kept: the mismatch is not corrected, the tool has to see it.
        ALOGE("cfg hw board id is not same as modem board id, hw_board_id is %d, hw_module_ver is %s", store_id,
              modem_text);
        return kFactoryError;
    }
    *id = modem_id;
    return kFactoryOk;
}

// Writes the board id to the store, then to the modem; a modem that refuses leaves the store changed.
uint32_t write_hw_board_id(int id) {
    if (cfg_set_int(kHwBoardId, id) != 1) {
        return kFactoryError;
    }
    ALOGE("cfg_service_set_int hw_module_ver data success!");
    if (modem_api_set_modem_property_int_sync(kHwBoardId, id) != 0) {
        return kFactoryError;
    }
    ALOGE("modem_write_efs write efs hw_module_ver data success, hw_board_id = %d", id);
    return kFactoryOk;
}
}  // namespace

void* factory_diag_board_read_func(const void* request, uint16_t length) {
    return read_record(kBoardRead, request, length, get_board_id);
}

void* factory_diag_board_write_func(const void* request, uint16_t length) {
    return write_record(kBoardWrite, request, length, set_board_id);
}

void* factory_diag_mcf_read_func(const void* request, uint16_t length) {
    return read_record(kMcfRead, request, length, get_mcf);
}

void* factory_diag_mcf_write_func(const void* request, uint16_t length) {
    return write_record(kMcfWrite, request, length, set_mcf);
}

void* factory_diag_ccf_check_func(const void* request, uint16_t length) {
    return read_record(kCcfCheck, request, length, get_ccf);
}

void* factory_diag_manufacture_flag_check_func(const void* request, uint16_t length) {
    return factory_serve(kFlagCheck, request, length, [](RequestView, uint8_t* rsp) {
        const auto flag = static_cast<uint8_t>(log_control_get_flag());
        rsp[kFactoryPayloadOffset] = flag == 0 ? 0 : 1;
        return kFactoryOk;
    });
}

void* factory_diag_manufacture_flag_clear_func(const void* request, uint16_t length) {
    return factory_serve(kFlagClear, request, length, [](RequestView, uint8_t*) {
        (void)log_control_set_flag(0);  // the command reports only that it ran
        return kFactoryOk;
    });
}

void* factory_diag_get_operator_info(const void* request, uint16_t length) {
    return factory_serve(kOperatorGet, request, length, [](RequestView, uint8_t* rsp) {
        ALOGE("%s entry \n", kOperatorGet.name);
        uint32_t status = kFactoryError;
        int id = 0;
        if (cfg_service_get_int(kMasterOperator, &id) >= 0) {
            status = kFactoryOk;
            put_u32(rsp + kFactoryPayloadOffset, static_cast<uint32_t>(id));
        }
        if (cfg_service_get_int(kSlaveOperator, &id) >= 0) {  // Kept: without a say in the status
            put_u32(rsp + kFactoryPayloadOffset + 4, static_cast<uint32_t>(id));
        }
        return status;
    });
}

void* factory_diag_set_operator_info(const void* request, uint16_t length) {
    return factory_serve(kOperatorSet, request, length, [](RequestView view, uint8_t*) {
        ALOGE("%s entry \n", kOperatorSet.name);
        // The command reports only that it ran.
        (void)cfg_service_set_int(kMasterOperator, static_cast<int>(request_u32(view, 4)));
        (void)cfg_service_set_int(kSlaveOperator, static_cast<int>(request_u32(view, 8)));
        return kFactoryOk;
    });
}

void* factory_diag_get_hw_board_id(const void* request, uint16_t length) {
    return factory_serve(kHwBoardGet, request, length, [](RequestView, uint8_t* rsp) {
        ALOGE("%s entry \n", kHwBoardGet.name);
        int id = 0;
        const uint32_t status = agreed_hw_board_id(&id);
        put_u32(rsp + kFactoryPayloadOffset, static_cast<uint32_t>(id));
        return status;
    });
}

void* factory_diag_set_hw_board_id(const void* request, uint16_t length) {
    return factory_serve(kHwBoardSet, request, length, [](RequestView view, uint8_t*) {
        ALOGE("%s entry \n", kHwBoardSet.name);
        return write_hw_board_id(static_cast<int>(request_u32(view, 4)));
    });
}

void* factory_diag_get_operation_by_type_func(const void* request, uint16_t length) {
    return factory_serve(kOperationByType, request, length, [](RequestView view, uint8_t* rsp) {
        const uint32_t type = request_u32(view, 4);
        ALOGD("factory_diag_get_operation_by_type_func type = %d", static_cast<int>(type));
        put_u32(rsp + kFactoryPayloadOffset, type == 1 ? 1 : 0);
        return kFactoryOk;
    });
}

namespace {
constexpr DiagDispatchEntry factory_diag_entries[] = {
    {1, 1, guarded<factory_diag_board_read_func>},
    {2, 2, guarded<factory_diag_board_write_func>},
    {5, 5, guarded<factory_diag_manufacture_flag_check_func>},
    {6, 6, guarded<factory_diag_manufacture_flag_clear_func>},
    {7, 7, guarded<factory_diag_log_start>},
    {8, 8, guarded<factory_diag_log_stop>},
    {9, 9, guarded<factory_diag_log_clear>},
    {13, 13, guarded<factory_diag_get_operator_info>},
    {12, 12, guarded<factory_diag_set_operator_info>},
    {14, 14, guarded<factory_diag_get_hw_board_id>},
    {15, 15, guarded<factory_diag_set_hw_board_id>},
    {16, 16, guarded<factory_diag_mcf_read_func>},
    {17, 17, guarded<factory_diag_mcf_write_func>},
    {18, 18, guarded<factory_diag_ccf_check_func>},
    {19, 19, guarded<factory_diag_imei_hash_read_func>},
    {20, 20, guarded<factory_diag_imei_sign_write_func>},
    {21, 21, guarded<factory_diag_imei_sign_status_read_func>},
    {22, 22, guarded<factory_diag_clean_imei_sign_func>},
    {23, 23, guarded<factory_diag_get_operation_by_type_func>},
    {24, 24, guarded<factory_diag_open_handler>},
    {25, 25, guarded<factory_diag_close_handler>},
    {26, 26, guarded<factory_diag_write_handler>},
};
constexpr size_t kEntryCount = std::size(factory_diag_entries);

constexpr bool codes_stand_once() {
    for (size_t i = 0; i < kEntryCount; ++i) {
        for (size_t j = i + 1; j < kEntryCount; ++j) {
            if (factory_diag_entries[i].cmd_code_lo == factory_diag_entries[j].cmd_code_lo) {
                return false;
            }
        }
    }
    return true;
}
static_assert(kEntryCount == 22 && codes_stand_once());

}  // namespace

const DiagDispatchTable factory_diag_table = diag_table(kFactorySubsystem, factory_diag_entries);
