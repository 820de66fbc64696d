// Power and boot-mode commands: restart, power off, special boot modes, shipping mode, the APDP image.
#pragma once

#include "ftm/ftm_command.h"
#include "support/worker.h"

FtmCommandHandler ftm_diag_req_cmd_reboot;
FtmCommandHandler ftm_diag_req_cmd_poweroff;
FtmCommandHandler ftm_diag_req_cmd_dload;
FtmCommandHandler ftm_diag_req_cmd_factoryresetdata;
FtmCommandHandler ftm_diag_req_cmd_extendpoweroff;
FtmCommandHandler ftm_diag_req_cmd_rebootftm;
FtmCommandHandler ftm_diag_req_cmd_extendreboot;
FtmCommandHandler ftm_diag_req_cmd_rebootedl;
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
