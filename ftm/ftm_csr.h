// The certificate signing request of remote key provisioning, kept in /mnt/vendor/persist/keybox/csr.json. Below each
// command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone; what
// is not mentioned it has not. "persist" is persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "GenCSR". Makes the request, in the place of an old one. Needs: /vendor/bin/rkp_factory_extraction_tool, of whose
// output 4089 bytes are kept; it must print something.
FtmCommandHandler ftm_diag_req_cmd_gen_csr;
// "GetCSR". Message: u16 length, the file (at most 4093 bytes). Needs: the file.
FtmCommandHandler ftm_diag_req_cmd_get_csr;
// "GetMd5ofCSR". Message: u16 32, the digits of the file's MD5. Needs: the file, /vendor/bin/md5sum.
FtmCommandHandler ftm_diag_req_cmd_get_md5_of_csr;
// "ClearCSRData". Deletes the file, which must be there.
FtmCommandHandler ftm_diag_req_cmd_clear_csr_data;
