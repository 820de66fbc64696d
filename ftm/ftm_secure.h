// Secure provisioning commands: fuses, RPMB key, token backup, Widevine and attestation keyboxes, boot flags. Below
// each command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone;
// what is not mentioned it has not. "persist" is persist_dir(). Of a message the main map sends the first byte.
#pragma once

#include "ftm/ftm_message.h"

// "ReadFuse". Argument: byte, 2 secure boot, 4 SIM lock, 6 permissions. Message: the node's decimal value, its low
// byte; 0 on failure. Needs: the node of orb_ftm.
FtmCommandHandler ftm_diag_req_cmd_readfuse;
// "WriteFuse". Argument: byte, 1 secure boot, 3 SIM lock, 5 permissions. Message: 0. Copies the signed image to the
// start of the partition sec, or secdata. Needs: the image under /firmware/image or, but for the SIM lock,
// /vendor/firmware_mnt/image.
FtmCommandHandler ftm_diag_req_cmd_writefuse;
// "TokBackup". Argument: byte, only logged. Copies the token container to rsu on persist, which is made anew and must
// be empty but for an old copy. Needs: /data/app/mcRegistry/00000000.authtokcont.
FtmCommandHandler ftm_diag_req_cmd_tokbackup;
// "CheckRpmbProvision". Message: 0 provisioned, 1 not, 2 provisioned with another key, 3 unknown. 1: the service cannot
// be reached. Needs: the trusted environment's RPMB service.
FtmCommandHandler ftm_diag_req_cmd_checkrpmbprovision;
// "DoRpmbProvision". Provisions the RPMB key. Needs: the trusted environment's RPMB service.
FtmCommandHandler ftm_diag_req_cmd_dorpmbprovision;
// "InstallWidevineKey". Argument: byte 1, then 128 bytes of keybox. Needs: keybox on persist, or else /data/cache, and
// the program StoreKeybox, whose last line with a verdict counts.
FtmCommandHandler ftm_diag_req_cmd_installwidevinekey;
// "CheckWidevineKey". Needs: the program oemcrypto_test, whose last line with a verdict counts; in factory boot mode
// the display's composer is started for it and stopped again.
FtmCommandHandler ftm_diag_req_cmd_checkwidevinekey;
// "WriteVerityCfg". Argument: byte. Stores it in the record eioeraseflag.
FtmCommandHandler ftm_diag_req_cmd_writeveritycfg;
// "RmAvbRollback". Stores 1 in the record rmavbrollback.
FtmCommandHandler ftm_diag_req_cmd_rmavbrollback;
// "InstallKeybox". Argument: byte n, n bytes of identifier, one byte unread, byte L, L digits of the file's MD5 (32, or
// its middle 16; L 0: no check). 2: another MD5, 3: no keybox file, 4: no MD5 to be had. Needs: keybox.xml as the
// keybox transfer leaves it in /mnt/vendor/persist/keybox, deleted once /vendor/bin/KmInstallKeybox has had it.
FtmCommandHandler ftm_diag_req_cmd_installkeybox;
// "CheckKeybox". Needs: /vendor/bin/KmInstallKeybox, whose exit status counts.
FtmCommandHandler ftm_diag_req_cmd_checkkeybox;
