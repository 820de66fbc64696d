// Device identity: MAC addresses, USB tag, named values, variant flag, DEFT switch, UDID, OMA-DM, country code, LCD
// current. Below each command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and what it needs
// on the phone; what is not mentioned it has not. "persist" is persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "ReadWifimac". Message: the six bytes; 3 in byte 0, with the status as found, when the file is no such text. 2: it
// cannot be opened. Needs: wifimac.dat on persist.
FtmCommandHandler ftm_diag_req_cmd_readwifimac;
// "WriteWifimac". Argument: the six bytes. 2: the file cannot be made, 3: a short write, 4: a multicast address (the
// file is empty then), or a file that cannot be made durable.
FtmCommandHandler ftm_diag_req_cmd_writewifimac;
// "ReadBTmac". As "ReadWifimac". Needs: .bt_nv.bin on persist.
FtmCommandHandler ftm_diag_req_cmd_readbtmac;
// "WriteBTmac". Argument: the six bytes. 2: the file cannot be made or given away, 3: a short write, 4: a file that
// cannot be made durable. Needs: user and group bluetooth, whose file it becomes.
FtmCommandHandler ftm_diag_req_cmd_writebtmac;
// "ReadUsbTag". Message: u32, the tag; a text (sent: "get us") without one. Needs: the record usbmanutag.
FtmCommandHandler ftm_diag_req_cmd_readusbtag;
// "WriteUsbTag". Argument: byte, the tag. Message: a text, of which six bytes are sent. 3: the store does not take it.
FtmCommandHandler ftm_diag_req_cmd_writeusbtag;
// "ReadMhlVer". Message: three bytes of version. 2: no chip, 3: no version, 4: a version that is not accepted. Needs:
// /proc/mhl_version.
FtmCommandHandler ftm_diag_req_cmd_readmhlver;
// "ReadVC". Argument: text, a record's name. Message: the name as received, 0, the value's length, the value. Needs:
// the record.
FtmCommandHandler ftm_diag_req_cmd_readvc;
// "WriteVC". Argument: text, a record's name (31 characters at most), byte, as many bytes of value (32 at most count).
FtmCommandHandler ftm_diag_req_cmd_writevc;
// "ReadVariantFlag". Message: text, the flag, or "failed" with a line end. Needs: the variant-flag library.
FtmCommandHandler ftm_diag_req_cmd_readvariantflag;
// "WriteVariantFlag". Argument: text, the flag, 31 characters at most. Message: a text, of which six bytes are sent. 3:
// too long, or the library does not take it.
FtmCommandHandler ftm_diag_req_cmd_writevariantflag;
// "ClearVariantFlag". Message: a text, of which six bytes are sent. 3: the library does not clear it. None to clear is
// a success.
FtmCommandHandler ftm_diag_req_cmd_clearvariantflag;
// "ReadDEFT". Message: one character. Needs: the record deft_register_switch.
FtmCommandHandler ftm_diag_req_cmd_readdeft;
// "WriteDEFT". Argument: one character. 3: the store does not take it, 4: the modem does not. Needs: the modem.
FtmCommandHandler ftm_diag_req_cmd_writedeft;
// "ReadUDID". Message: text, 64 hexadecimal digits; "get udid failed" with a line end without one. Needs: the records
// udid_o, udid_r and udid_b.
FtmCommandHandler ftm_diag_req_cmd_readudid;
// "WriteUDID". Makes a new identifier. Message: a text. 2: a source is missing (the message stays as found), 3: the
// store does not take it. Needs: ro.build.sw_internal_version, ro.boot.emmcid and the board identifier.
FtmCommandHandler ftm_diag_req_cmd_writeudid;
// "ReadOMADM". Message: text, at most 63 characters. Needs: omadm/oma_dm on persist.
FtmCommandHandler ftm_diag_req_cmd_readomadm;
// "WriteOMADM". Argument: 63 bytes, whatever the text's length. Needs: the directory omadm on persist.
FtmCommandHandler ftm_diag_req_cmd_writeomadm;
// "WriteCountryCode". Argument: text; one of 64 or more characters keeps 32, zeros stand for the rest. 1: the file
// countrycode on persist cannot be made or put in place, 3: a short write.
FtmCommandHandler ftm_diag_req_cmd_writecountrycode;
// "ReadCountryCode". Message: text, of which six bytes are sent. Needs: countrycode on persist.
FtmCommandHandler ftm_diag_req_cmd_readcountrycode;
// "WriteLcdCurrent". Argument: text; behind 512 characters zeros stand for the rest. 1 and 3 as for the country code,
// for lcdcurrent on persist.
FtmCommandHandler ftm_diag_req_cmd_writelcdcurrent;
// "ReadLcdCurrent". Message: text, at most 511 characters. Needs: lcdcurrent on persist.
FtmCommandHandler ftm_diag_req_cmd_readlcdcurrent;
