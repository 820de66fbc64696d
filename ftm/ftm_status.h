// Factory flags and simple status: software version, board number, SIM, storage, battery, lights, device model. Below
// each command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone;
// what is not mentioned it has not. "persist" is persist_dir(). Of a message the main map sends the first byte.
#pragma once

#include "ftm/ftm_message.h"

// "WriteSWVersion". Argument: text, of which 63 bytes are stored. Needs: /cache, where sw_ver_num becomes 64 bytes; a
// longer file keeps its tail.
FtmCommandHandler ftm_diag_req_cmd_writeswversion;
// "StoreBoardNum". Argument: text, of which 19 bytes are stored. Needs: /cache, where board_number becomes 20 bytes.
FtmCommandHandler ftm_diag_req_cmd_storeboardnum;
// "WriteEfsRecovery". Argument: byte, which the node gets as "arg: N". Needs: the node efs_recovery of orb_ftm.
FtmCommandHandler ftm_diag_req_cmd_writeefsrecovery;
// "StartKPH". Argument: byte, only logged. Sets the property sys.kphdaemon.enable to "true".
FtmCommandHandler ftm_diag_req_cmd_startkph;
// "StopKPH". The same with "false".
FtmCommandHandler ftm_diag_req_cmd_stopkph;
// "ReadSWVer". Message: the flag; 255 without one. Needs: the record sw_ver_flag.
FtmCommandHandler ftm_diag_req_cmd_readswver;
// "WriteSWVer". Argument: byte, the flag. Needs: room for the record sw_ver_flag.
FtmCommandHandler ftm_diag_req_cmd_writeswver;
// "CheckUserLogFlag". 0: record and property say that the user log is off; 1: one of them does not, or the record could
// not be set. The record vendor.factory.log is "0" afterwards, the property persist.sys.orblog.enable is only read.
FtmCommandHandler ftm_diag_req_cmd_checkuserlogflag;
// "ReadSIMSlot1Status". Message: the modem's byte for slot 1; 255: it did not answer. Needs: the modem.
FtmCommandHandler ftm_diag_req_cmd_readsimslot1status;
// "ReadSIMSlot2Status". The same for slot 2.
FtmCommandHandler ftm_diag_req_cmd_readsimslot2status;
// "UFS". Message: 0 when /dev/block/bootdevice is a link to something with "ufs" in it, else 1. Never fails.
FtmCommandHandler ftm_diag_req_cmd_is_ufs;
// "getbatterystatus". Message: 1 charging or full, 2 neither. Needs: the battery's node status.
FtmCommandHandler ftm_diag_req_cmd_get_battery_status;
// "getbatterypresent". Message: text of the node. Needs: the battery's node present.
FtmCommandHandler ftm_diag_req_cmd_get_battery_present;
// "ReadFactoryFlag". 1: the record factory.first_enter was there and is gone, 0: it was there and stays, 2: there was
// none. Removes the record factory.reset as well.
FtmCommandHandler ftm_diag_req_cmd_read_factory_flag;
// "cleanapkconfigpara". Removes factoryinfo/customfolder on persist, if it is empty. Never fails.
FtmCommandHandler ftm_diag_req_cmd_cleanapkpara;
// "checkapkcleanstatus". 0: there is no factoryinfo/customfolder on persist, 1: there is.
FtmCommandHandler ftm_diag_req_cmd_checkapkpara;
// "checkcardto". Message: the SIM tray's state as a digit, 0 without one. 0: the state is 1; 1: it is another, or
// unknown. Needs: the modem.
FtmCommandHandler ftm_diag_req_cmd_checkcardto;
// "checkbreathled". Message: text of the module's parameter is_breath_led_exist; without it the number 1 when the LED
// driver has a node rgb. 0: the parameter begins with "1", or there is the node.
FtmCommandHandler ftm_diag_req_cmd_checkbreathled;
// "openfanlight". Argument: text; one of 64 or more characters is cut to 32 and filled with zeros to 64. Stores it in
// fan_light on persist and in the record fanlight. 1: the file cannot be made or put in place, 3: file or record do not
// take it.
FtmCommandHandler ftm_diag_req_cmd_openfanlight;
// "checkfanlight". Message: text of /mnt/vendor/persist/fan_light. 0: file and record fanlight begin with "1"; 1: one
// of them does not, or is missing.
FtmCommandHandler ftm_diag_req_cmd_checkfanlight;
// "GetDeviceModel" (extended map). Message: text of ro.product.model; empty, with status 1, when that is unset.
FtmCommandHandler ftm_diag_req_cmd_get_device_model;
