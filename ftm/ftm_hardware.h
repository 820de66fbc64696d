// Hardware information and sensor results; read only, no command takes an argument. Below each command its argument,
// its message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone; what is not mentioned it
// has not. "persist" is persist_dir(). Unless a line says otherwise, byte 0 of the message is 0 after a failure.
#pragma once

#include "ftm/ftm_message.h"

// "emmc_id". Message: text of /proc/driver/emmc_id, or where that is not there "VENDOR-MODEL-REV-00/0000-N GB-NA" with
// a line end of a UFS chip. Needs: one of the two sources; see storage_capacity.h for the size.
FtmCommandHandler ftm_diag_req_cmd_get_emmc;
// "ddr_id". Message: text, at most 63 characters. Needs: /proc/driver/ddr_id.
FtmCommandHandler ftm_diag_req_cmd_get_ddr;
// "ReadHWVer". Message: text, the version's name for this board; see hardware_version.h. Needs: vendor/etc/hwid.conf or
// ro.vendor.build.hardware_version, and /proc/driver/board_id unless that is a plain name.
FtmCommandHandler ftm_diag_req_cmd_readhwver;
// "ReadBoardID". Message: text of the node, its line end included; all but its last character must be digits. Needs:
// /proc/driver/board_id.
FtmCommandHandler ftm_diag_req_cmd_readboardid;
// "ReadDEVICE". Message: text of ro.product.device, which must be set.
FtmCommandHandler ftm_diag_req_cmd_readdevice;
// "ReadEMMCID". Message: text of ro.boot.emmcid, which must be set.
FtmCommandHandler ftm_diag_req_cmd_reademmcid;
// "Read_EID". Message: the eUICC's identifier, 32 upper-case hexadecimal digits, no terminator. Needs: the modem.
FtmCommandHandler ftm_diag_req_cmd_readeid;
// "GetNfcCplc". Message: what vendor/bin/st_seid prints, at most 512 bytes and the rest of a line; it must print
// something.
FtmCommandHandler ftm_diag_req_cmd_GetNfcCplc;
// "GetLightData". Message: text of sensors/light_sen.txt; without it the message stays as found. Needs: the file under
// mnt/vendor/persist.
FtmCommandHandler ftm_diag_req_cmd_GetLightData;
// "GetLightData2". The same for light_sen_2.txt. A request for it runs "GetLightData" first.
FtmCommandHandler ftm_diag_req_cmd_GetLightData2;
// "GetTofData". The same for tof_sen.txt.
FtmCommandHandler ftm_diag_req_cmd_GetTofData;
// "GetProximityNoise". The same for proximity_noise.txt.
FtmCommandHandler ftm_diag_req_cmd_GetProximityNoise;
// "GetVibratetData", spelled so. The same for vibrate_data.txt.
FtmCommandHandler ftm_diag_req_cmd_GetVibrateData;
// "GetAPPLET". Message: 1 the secure element is clean, 0 it is not (numbers, not digits). Needs:
// /vendor/bin/st_se_factory, whose output must say so, report a normal end and no test chip.
FtmCommandHandler ftm_diag_req_cmd_GetAPPLET;
// "SeReset". Resets the secure element. Needs: /vendor/bin/st_se_factory, whose output must report the success and a
// normal end.
FtmCommandHandler ftm_diag_req_cmd_SeReset;
// "ReadSecPatch". Message: text of ro.build.version.security_patch, or the byte 255 when that is unset. Never fails.
FtmCommandHandler ftm_diag_req_cmd_readsecpatch;
