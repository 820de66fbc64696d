// Payment and content-protection keys, through the vendor's client programs. Below each command its argument, its
// message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone; what is not mentioned it has
// not. "persist" is persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "GetSoterKey". Argument: byte, the key's index. Message: text, the client's result, its line end cut off. 1: no
// result file on persist, or "fail" in it. Needs: soter_client of /vendor/bin or /system/bin.
FtmCommandHandler ftm_diag_req_cmd_GetSoterKey;
// "InjectAliPayKey". Message: 0. 2: the board record, where the injection is noted, cannot be read or written. Needs:
// alikey_client of /system/bin or /vendor/bin.
FtmCommandHandler ftm_diag_req_cmd_InjectAliPayKey;
// "GetEncryptInfo". Argument: byte 1, then the arguments of vendor/bin/orb_pdt_tool as a text; message: what it prints,
// which must be something. Byte 2; message: 32 characters of version from /vendor/etc/firmware/cos_code.hex. Any other
// byte: status and message as found.
FtmCommandHandler ftm_diag_req_cmd_GetEncryptInfo;
// "WriteHDCP". Message: what the program prints, which must be something; the tool judges it. 4: HDCP2_PEM or DPS is
// missing in /cache/HDCP. Needs: /vendor/bin/hdcp2p2prov.
FtmCommandHandler ftm_diag_req_cmd_writeHDCP;
// "CheckHDCP". Message: what the program prints, which must be something. Needs: /vendor/bin/hdcp2p2prov.
FtmCommandHandler ftm_diag_req_cmd_checkHDCP;
// "GetBrandofWeChatKey". Message: text of ro.product.manufacturer, which must be set; six bytes of it are sent.
FtmCommandHandler ftm_diag_req_cmd_getbrandofwechatKey;
