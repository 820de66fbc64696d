// Power and boot-mode commands: restart, power off, special boot modes, shipping mode, the APDP image. None takes an
// argument or leaves a message, and a status of 0 says that the phone is on its way, not that it arrived. Below each
// its statuses beyond 0 and 1 (failed), and what it needs on the phone.
#pragma once

#include "ftm/ftm_message.h"
#include "support/worker.h"

// "Reboot". Restarts with the reason "orb", four seconds after the answer.
FtmCommandHandler ftm_diag_req_cmd_reboot;
// "PowerOff". Powers off, four seconds after the answer.
FtmCommandHandler ftm_diag_req_cmd_poweroff;
// "SwitchToDownload". Restarts into download mode. 1: no restart. Needs: the node download_mode of the module restart.
FtmCommandHandler ftm_diag_req_cmd_dload;
// "FactoryResetData". Writes the small APDP image, asks for a wipe, restores the modem's data and restarts into
// recovery. 3: the modem is not connected yet, ask again; the first two steps are done. Needs: what "ResetApdpData"
// does, the modem.
FtmCommandHandler ftm_diag_req_cmd_factoryresetdata;
// "ExtendPowerOff". Powers off once the USB cable is gone.
FtmCommandHandler ftm_diag_req_cmd_extendpoweroff;
// "RebootFtm". Restarts into factory mode, four seconds after the answer.
FtmCommandHandler ftm_diag_req_cmd_rebootftm;
// "ExtendReboot". Restarts with the reason "orb" once the USB cable is gone.
FtmCommandHandler ftm_diag_req_cmd_extendreboot;
// "RebootEDL". Restarts into emergency download mode, at once.
FtmCommandHandler ftm_diag_req_cmd_rebootedl;
// "ResetApdpData". Copies the full APDP image to the start of the partitions apdp and apdpb. Needs: apdpfull.mbn
// (apdpmini.mbn is the small one) in /vendor/firmware_mnt/image.
FtmCommandHandler ftm_diag_req_cmd_resetapdpdata;

// Copies the APDP image (the small one when `mini` is 1) from the firmware mount to both APDP partitions. 0, or -1.
int reset_apdp_data_from_nonhlos(int mini);

// Waits until the USB supply reads as removed, looking once a second, for ever. Returns 1.
int ftm_diag_power_usb_present();

// Waits until the USB supply has read as removed twice, one second apart. Returns 1.
int ftm_diag_power_usb_present_for_shipmode();

// Worker bodies. The first two take the restart reason (static text, or null for a plain restart).
WorkerBody ftm_reboot_thread;
WorkerBody ftm_extendreboot_thread;
WorkerBody ftm_poweroff_thread;
WorkerBody ftm_extendpoweroff_thread;
WorkerBody ftm_reboot_edl_thread;
WorkerBody ftm_writefactorymode_thread;
