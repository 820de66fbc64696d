// The catalogue's rows and the searches in it.
#include "tools/vdiag/catalogue/catalogue.h"

#include <algorithm>
#include <charconv>

namespace vdiag {
namespace {

constexpr uint8_t kSubsystemDispatch = 75;
constexpr uint8_t kFtmSubsystem = 11;
constexpr uint16_t kFtmMainCode = 32766;
constexpr uint16_t kFtmExtCode = 32767;
constexpr uint16_t kFtmBatteryCode = 32765;

constexpr Where top(uint16_t code, int sub = -1) { return {Via::kTop, 0, code, sub}; }
constexpr Where sub(uint8_t subsystem, uint16_t code) { return {Via::kSubsystem, subsystem, code, -1}; }
constexpr Where ftm(uint16_t code, Via via) { return {via, kFtmSubsystem, code, -1}; }
constexpr Where kMain = ftm(kFtmMainCode, Via::kFtmMain);
constexpr Where kExt = ftm(kFtmExtCode, Via::kFtmExt);
constexpr Where kBatt = ftm(kFtmBatteryCode, Via::kFtmBattery);

constexpr Effect kReads = Effect::kReads;
constexpr Effect kWrites = Effect::kWrites;
constexpr Effect kUses = Effect::kUses;
constexpr Effect kFinal = Effect::kFinal;
constexpr Effect kDown = Effect::kDown;

// Status lists that many rows share.
constexpr char kDone[] = "0 done";
constexpr char kOrFailed[] = "0 done|1 failed";
constexpr char kFile[] = "0 done|1 the file cannot be opened or synchronised|3 short write";
constexpr char kFuseRead[] = "0 done|1 wrong selector, or its node is missing or unreadable";
constexpr char kFuseWrite[] = "0 done|1 wrong selector, no image or partition, or not copied whole";
constexpr char kMacRead[] = "0 done|2 the address file is missing or cannot be opened";
constexpr char kWifiWrite[] =
    "0 done|2 the address file cannot be created|3 short write|4 multicast address (the file is empty now), or not "
    "synchronised";
constexpr char kBtWrite[] =
    "0 done|2 the address file cannot be created or given to the user bluetooth|3 short write|4 not synchronised";
constexpr char kStoreRead[] = "0 done|1 there is no such configuration record";
constexpr char kStoreWrite[] = "0 done|1 the configuration record cannot be written";
constexpr char kNumbered[] = "0 done|1 bad length, or failed";
constexpr char kBoardWrite[] = "0 done|1 bad length, or not written|2 written but not synchronised";
constexpr char kInfoGet[] =
    "0 done|3 the file is missing or cannot be read|4 not every key was found exactly once|9 out of memory|17 the file "
    "is no factory information";
constexpr char kInfoSet[] =
    "0 done|1 saved but not synchronised|3 a key or value that cannot be stored, or the file cannot be read or "
    "saved|9 out of memory|17 the file is no factory information";
constexpr char kInfoErase[] = "0 done|3 there is no file, or it cannot be erased";
constexpr char kKeySet[] = "0 done|1 not done: see the reason";
constexpr char kNfc[] = "0 the test program succeeded|1 the test program failed or was not done in time";

// clang-format off
constexpr Command kRows[] = {
    // Versions.
    {"version",                 top(57),            kReads,  "", "display_version:text(30) internal_version:text(30) -210 date:text(13) time:text(10)", "", "", "display and internal software version, build date and time"},
    {"version internal",        top(56),            kReads,  "", "internal_version:text(30) date:text(12) time:text(9)", "", "", "internal software version, build date and time"},
    {"version display",         top(60),            kReads,  "", "display_version:text(30) date:text(12) time:text(9)", "", "", "display software version, build date and time"},
    {"version diag",            top(0),             kReads,  "", "compile_date:text(11) compile_time:text(8) release_date:text(11) release_time:text(8) model:text(8) station_class:u8 air_interface:u8 model_number:u8 firmware:u16 slot_cycle:u8 hardware_major:u8 hardware_minor:u8", "", "", "the diag library's own version answer: is anybody there?"},
    {"serial",                  sub(11, 54),        kReads,  "", "-2 length:u16 status:u16 serial:text -", "0 found|1 the phone has no serial number", "", "USB serial number"},
    // Carrier menu.
    {"rtn show",                top(246, 11),       kReads,  "", "life_timer:u32 life_calls:u32 refurbish_status:u8 refurbish_month:u16 refurbish_day:u16 refurbish_year:u16 os_version:text(20) sw_version:text(20) radio_version:text(20) hw_version:text(20) prl_version:u32 pri_version:text(20) activation_month:u16 activation_day:u16 activation_year:u16", "", "", "life counters, refurbishment and activation dates, version texts"},
    {"rtn refurbish-record",    top(246, 12),       kWrites, "refurbished:u8 month:u8(1..12) day:u8(1..31) year:u16", "status:u8", "0 written|1 failed, or the date is invalid", "1 12 31 2024", "record a refurbishment"},
    {"rtn refurbish",           top(246, 6),        kDown,   "", "-1", "", "", "refurbish: full factory reset"},
    {"rtn reset",               top(246, 15),       kDown,   "", "-1", "", "", "return-to-new reset"},
    // Peripherals.
    {"control",                 top(41),            kDown,   "action:u8{restart=2}", "action:u8{restart=2}", "", "restart", "control action: restart restarts the phone, others are only echoed"},
    {"nfc card",                sub(171, 8),        kUses,   "", "status:u8 result:bytes(8)! -", kNfc, "", "read an NFC card in the field"},
    {"nfc close",               sub(171, 9),        kWrites, "", "status:u8 result:bytes(8)! -", kNfc, "", "switch NFC off"},
    {"nfc swp",                 sub(171, 7),        kUses,   "", "status:u8 result:bytes(8)! -", kNfc, "", "single-wire protocol test between NFC controller and SIM"},
    {"led enter",               sub(171, 518),      kWrites, "mode:u8", "status:u8", "0 done|1 short write|2 the LED driver is missing", "5", "LED driver into factory test mode"},
    {"led exit",                sub(171, 262),      kWrites, "", "status:u8", "0 done|1 short write", "", "LED driver out of factory test mode"},
    {"audio",                   sub(205, 4),        kWrites, "mode:u8{handset=1,off=0}", "status:u8 -", "0 done|1 the audio tool failed or was not done in time", "handset", "audio path to the handset, or off"},
    {"keys start",              sub(205, 26),       kWrites, "=01", "status:u8 -2", "+1 capturing key presses|2 no thread|3 wrong action", "", "start, or start over, the key test"},
    {"keys check",              sub(205, 164),      kUses,   "", "status:u8 all_seen:u8{yes=188,no=0}! -1", "0 all three test keys were seen|1 not all keys were seen yet", "", "which keys the key test has seen"},
    {"battery",                 sub(202, 4),        kReads,  "=00", "status:u8 capacity:u8", "+2 capacity read|0 the capacity could not be read", "", "battery capacity in percent"},
    {"sdcard",                  sub(205, 43),       kReads,  "", "status:u8 detected:u32{yes=255,no=0}!", "0 a card is present|1 no card", "", "SD card detection"},
    // Factory service.
    {"board read",              sub(253, 1),        kReads,  "", "status:u32 data:bytes(128)", kNumbered, "", "board data record"},
    {"board write",             sub(253, 2),        kWrites, "data:bytes(128)", "status:u32", kBoardWrite, "@board.bin", "replace the board data record"},
    {"info get",                sub(253, 3),        kReads,  "keys:keys", "status:u32 length:u32! values:records", kInfoGet, "operator color", "read keys of the factory information store"},
    {"info set",                sub(253, 4),        kWrites, "values:pairs", "status:u32", kInfoSet, "operator=ABCD color=black", "write keys of the factory information store"},
    {"info erase",              sub(253, 4),        kFinal,  "=0a0000000000", "status:u32", kInfoErase, "", "erase the whole factory information store"},
    {"flag check",              sub(253, 5),        kReads,  "", "status:u32 flag:u8 -3", kNumbered, "", "manufacture flag"},
    {"flag clear",              sub(253, 6),        kWrites, "", "status:u32", kNumbered, "", "clear the manufacture flag"},
    {"log start",               sub(253, 7),        kWrites, "", "status:u32", "0 done|1 bad length|3 the collector could not be started", "", "start modem log capture"},
    {"log stop",                sub(253, 8),        kWrites, "", "status:u32", "0 done|1 bad length|3 the collector could not be stopped", "", "stop modem log capture"},
    {"log clear",               sub(253, 9),        kFinal,  "", "status:u32", kNumbered, "", "delete captured modem logs"},
    {"operator set",            sub(253, 12),       kWrites, "master:u32 slave:u32", "status:u32", kDone, "46000 46001", "set both operator identifiers"},
    {"operator get",            sub(253, 13),       kReads,  "", "status:u32 master:u32 slave:u32", "0 done|3 no master operator is set", "", "operator identifiers"},
    {"hwid get",                sub(253, 14),       kWrites, "", "status:u32 id:u32", "0 done|3 the modem has none, store and modem differ, or the store takes none", "", "hardware board identifier; a store without one takes the modem's"},
    {"hwid set",                sub(253, 15),       kWrites, "id:u32", "status:u32", "0 done|3 store or modem could not be written", "12", "set the hardware board identifier"},
    {"mcf read",                sub(253, 16),       kReads,  "", "status:u32 data:bytes(128)", kNumbered, "", "modem configuration record"},
    {"mcf write",               sub(253, 17),       kWrites, "data:bytes(128)", "status:u32", kBoardWrite, "@mcf.bin", "replace the modem configuration record"},
    {"ccf read",                sub(253, 18),       kReads,  "", "status:u32 data:bytes(128)", kNumbered, "", "carrier configuration record"},
    {"imei hash",               sub(253, 19),       kReads,  "", "status:u32 sha256:bytes(32)", "0 done|3 the modem gives no IMEI", "", "SHA-256 of the IMEI"},
    {"imei sign",               sub(253, 20),       kWrites, "signature:bytes(256)", "status:u32", "0 done|3 not stored", "@signature.bin", "store the signature of the IMEI"},
    {"imei sign-status",        sub(253, 21),       kReads,  "", "status:u32 unsigned:u32{yes=1,no=0}", "0 done|1 bad length", "", "is the record imei.sign.1 missing or empty? imei sign writes others, and does not change it"},
    {"imei sign-clear",         sub(253, 22),       kFinal,  "", "status:u32", kDone, "", "erase the signature and every other record that is not reserved"},
    {"operation",               sub(253, 23),       kReads,  "type:u32", "status:u32 supported:u32", kDone, "1", "is an operation type supported?"},
    {"keybox open",             sub(253, 24),       kWrites, "mode:u32{write=1}", "handle:i32 status:u32", "0 done|3 the keybox file cannot be opened", "write", "open the keybox file on the phone, emptied; each open needs a close"},
    {"keybox close",            sub(253, 25),       kWrites, "handle:u32", "status:u32", "0 done|3 bad handle", "7", "close the keybox file"},
    {"keybox write",            sub(253, 26),       kWrites, "handle:u32 offset:u32 data:bytes", "handle:i32! offset:u32! written:i32! status:u32", "0 done|3 bad handle or offset, or a failed write", "7 0 @keybox.xml", "write a piece of the keybox file"},
    // Battery service of the FTM subsystem.
    {"setfactorymode",          kBatt,              kDown,   "", "", kDone, "", "shipping mode and power-off as soon as the USB cable is gone"},
    // FTM commands of the main map: a status byte and one message byte.
    {"Reboot",                  kMain,              kDown,   "", "", kDone, "", "restart the phone"},
    {"PowerOff",                kMain,              kDown,   "", "", kDone, "", "switch the phone off"},
    {"SwitchToDownload",        kMain,              kDown,   "", "", "0 done|1 the download-mode node is missing", "", "restart into download mode"},
    {"ReadFuse",                kMain,              kReads,  "fuse:u8{secboot=2,simlock=4,permission=6}", "value:u8", kFuseRead, "secboot", "read a fuse status"},
    {"WriteFuse",               kMain,              kFinal,  "fuse:u8{secboot=1,simlock=3,permission=5}", "", kFuseWrite, "secboot", "write a fuse image to the security partition"},
    {"FactoryResetData",        kMain,              kDown,   "", "", "0 done|1 failed|3 the modem connection is not ready: try again", "", "wipe user data in recovery"},
    {"WriteSWVersion",          kMain,              kWrites, "version:text(63)", "", kOrFailed, "V1.0", "record the software version number"},
    {"StoreBoardNum",           kMain,              kWrites, "number:text(19)", "", kOrFailed, "B0123456789", "record the board number"},
    {"WriteEfsRecovery",        kMain,              kWrites, "value:u8", "", kOrFailed, "1", "tell the kernel to recover the modem's file system"},
    {"StartKPH",                kMain,              kWrites, "value:u8?", "", kOrFailed, "", "enable the KPH service"},
    {"StopKPH",                 kMain,              kWrites, "value:u8?", "", kOrFailed, "", "disable the KPH service"},
    {"TokBackup",               kMain,              kWrites, "value:u8?", "", kOrFailed, "", "back up the authentication token container"},
    {"ReadSWVer",               kMain,              kReads,  "", "flag:u8", kStoreRead, "", "software version flag"},
    {"WriteSWVer",              kMain,              kWrites, "flag:u8", "", kStoreWrite, "1", "set the software version flag"},
    {"CheckRpmbProvision",      kMain,              kUses,   "", "key:u8{provisioned=0,not-provisioned=1,mac-mismatch=2,other=3}", "0 done|1 the secure service cannot be opened", "", "RPMB key status"},
    {"DoRpmbProvision",         kMain,              kFinal,  "", "", kOrFailed, "", "provision the RPMB key"},
    {"CheckUserLogFlag",        kMain,              kWrites, "", "", "0 user logging was off|1 user logging was on, or its record cannot be reset", "", "was user logging off? resets its record"},
    {"ReadSIMSlot1Status",      kMain,              kReads,  "", "card:u8", kOrFailed, "", "card status of SIM slot 1"},
    {"ReadSIMSlot2Status",      kMain,              kReads,  "", "card:u8", kOrFailed, "", "card status of SIM slot 2"},
    {"UFS",                     kMain,              kReads,  "", "storage:u8{ufs=0,other=1}", kDone, "", "is the storage UFS?"},
    {"getbatterystatus",        kMain,              kReads,  "", "charging:u8{yes=1,no=2}", kOrFailed, "", "is the battery charging or full?"},
    {"getbatterypresent",       kMain,              kReads,  "", "present:char", kOrFailed, "", "is a battery present?"},
    {"ExtendPowerOff",          kMain,              kDown,   "", "", kDone, "", "switch off as soon as the USB cable is gone"},
    {"ReadFactoryFlag",         kMain,              kWrites, "", "", "+1 the first-entry flag was set and is cleared now|+2 the first-entry flag is not set|0 the first-entry flag could not be cleared", "", "read and clear the first-entry flag"},
    {"RebootFtm",               kMain,              kDown,   "", "", kDone, "", "restart into factory test mode"},
    {"ExtendReboot",            kMain,              kDown,   "", "", kDone, "", "restart as soon as the USB cable is gone"},
    {"cleanapkconfigpara",      kMain,              kWrites, "", "", kDone, "", "remove the customisation folder"},
    {"checkapkcleanstatus",     kMain,              kReads,  "", "", "0 the customisation folder is gone|1 the customisation folder exists", "", "is the customisation folder gone?"},
    {"RebootEDL",               kMain,              kDown,   "", "", kDone, "", "restart into emergency download mode"},
    {"InstallWidevineKey",      kMain,              kWrites, "=01 keybox:bytes(128)", "", kOrFailed, "@widevine.bin", "install the Widevine keybox"},
    {"CheckWidevineKey",        kMain,              kUses,   "", "", kOrFailed, "", "test the Widevine keybox"},
    {"WriteVerityCfg",          kMain,              kWrites, "value:u8", "", kStoreWrite, "1", "set the verity erase flag"},
    {"RmAvbRollback",           kMain,              kWrites, "", "", kStoreWrite, "", "set the rollback reset flag"},
    {"ResetApdpData",           kMain,              kWrites, "", "", kOrFailed, "", "rewrite both APDP partitions"},
    {"checkcardto",             kMain,              kReads,  "", "tray:char!", "0 the tray is in|1 the tray is out, or unknown", "", "SIM tray state"},
    {"checkbreathled",          kMain,              kReads,  "", "led:char!", "0 present|1 absent, or unknown", "", "is there a breathing LED?"},
    {"openfanlight",            kMain,              kWrites, "value:text(32)", "", "0 done|1 the file cannot be opened or synchronised|3 short write, or the configuration record cannot be written", "1", "store the fan light setting"},
    {"checkfanlight",           kMain,              kReads,  "", "value:char!", "0 on in file and record|1 not on in both", "", "is the fan light on?"},
    // FTM commands of the extended map: a status byte and a message.
    {"ReadWifimac",             kExt,               kReads,  "", "mac:mac", kMacRead, "", "Wi-Fi address"},
    {"WriteWifimac",            kExt,               kWrites, "mac:mac", "", kWifiWrite, "00:11:22:aa:bb:cc", "write the Wi-Fi address"},
    {"ReadBTmac",               kExt,               kReads,  "", "mac:mac", kMacRead, "", "Bluetooth address"},
    {"WriteBTmac",              kExt,               kWrites, "mac:mac", "", kBtWrite, "00:11:22:aa:bb:cc", "write the Bluetooth address"},
    {"ReadUsbTag",              kExt,               kReads,  "", "tag:u32", kStoreRead, "", "USB manufacture tag"},
    {"WriteUsbTag",             kExt,               kWrites, "tag:u8", "message:text(6)", "0 done|3 the configuration record cannot be written", "7", "set the USB manufacture tag"},
    {"ReadMhlVer",              kExt,               kReads,  "", "version:bytes(3)!", "0 done|2 no MHL chip|3 unreadable|4 not an accepted MHL chip", "", "MHL chip version"},
    {"GetSoterKey",             kExt,               kUses,   "index:u8", "result:text", kOrFailed, "0", "Soter key result"},
    {"emmc_id",                 kExt,               kReads,  "", "id:text", kOrFailed, "", "storage chip, revision and size"},
    {"ddr_id",                  kExt,               kReads,  "", "id:text", kOrFailed, "", "memory chip"},
    {"InstallKeybox",           kExt,               kWrites, "device:counted(255) =00 md5:counted(32)?", "", "0 done|1 the tool failed|2 wrong MD5|3 no keybox file|4 the MD5 could not be made", "DEVICE01", "install the attestation keybox that was sent"},
    {"GenCSR",                  kExt,               kWrites, "", "", kOrFailed, "", "produce the certificate signing request"},
    {"GetCSR",                  kExt,               kReads,  "", "csr:long", kOrFailed, "", "fetch the certificate signing request"},
    {"GetMd5ofCSR",             kExt,               kUses,   "", "md5:long", kOrFailed, "", "MD5 of the certificate signing request"},
    {"ClearCSRData",            kExt,               kFinal,  "", "", kOrFailed, "", "delete the certificate signing request"},
    {"CheckKeybox",             kExt,               kUses,   "", "", kOrFailed, "", "check the attestation keybox"},
    {"ReadVC",                  kExt,               kReads,  "name:text(31)", "name:text value:counted", kStoreRead, "serialno", "read a configuration record"},
    {"WriteVC",                 kExt,               kWrites, "name:text(31) value:counted(32)", "", kStoreWrite, "serialno A1B2", "write a configuration record"},
    {"ReadVariantFlag",         kExt,               kReads,  "", "flag:text", "0 done|1 no variant flag is set", "", "customer variant flag"},
    {"WriteVariantFlag",        kExt,               kWrites, "flag:text(31)", "message:text(6)", "0 done|3 not written", "VARIANT1", "set the customer variant flag"},
    {"ClearVariantFlag",        kExt,               kWrites, "", "message:text(6)", "0 done|3 not cleared", "", "clear the customer variant flag"},
    {"ReadDEFT",                kExt,               kReads,  "", "value:char", kStoreRead, "", "DEFT register switch"},
    {"WriteDEFT",               kExt,               kWrites, "value:char", "", "0 done|3 the configuration record cannot be written|4 the modem refused", "1", "set the DEFT register switch"},
    {"InjectAliPayKey",         kExt,               kWrites, "", "", "0 done|1 the key client failed|2 the board data cannot be read or written", "", "inject the Alipay key"},
    {"GetEncryptInfo",          kExt,               kUses,   "mode:u8{tool=1,firmware=2} arguments:text(75)?", "result:text", kOrFailed, "firmware", "product tool result, or secure element firmware version"},
    {"WriteHDCP",               kExt,               kWrites, "value:u8?", "result:text", "0 done|1 the tool failed|4 the input files are missing", "", "provision HDCP"},
    {"CheckHDCP",               kExt,               kUses,   "value:u8?", "result:text", kOrFailed, "", "verify HDCP"},
    {"ReadUDID",                kExt,               kReads,  "", "udid:text", kStoreRead, "", "unique device identifier"},
    {"WriteUDID",               kExt,               kWrites, "", "message:text", "0 done|2 version, storage or board identifier is missing|3 the configuration record cannot be written", "", "make a new unique device identifier"},
    {"ReadOMADM",               kExt,               kReads,  "", "record:text", kOrFailed, "", "OMA-DM record"},
    {"WriteOMADM",              kExt,               kWrites, "record:text(63)", "", kOrFailed, "IMEI:004999010640000", "write the OMA-DM record"},
    {"ReadHWVer",               kExt,               kReads,  "", "version:text", kOrFailed, "", "hardware version"},
    {"ReadBoardID",             kExt,               kReads,  "", "id:text(6)", kOrFailed, "", "board identifier"},
    {"ReadDEVICE",              kExt,               kReads,  "", "device:text", kOrFailed, "", "device name"},
    {"ReadEMMCID",              kExt,               kReads,  "", "id:text", kOrFailed, "", "storage identifier"},
    {"Read_EID",                kExt,               kReads,  "", "eid:text(32)", kOrFailed, "", "eUICC identifier"},
    {"GetNfcCplc",              kExt,               kUses,   "", "cplc:text", kOrFailed, "", "secure element identity"},
    {"GetLightData",            kExt,               kReads,  "", "data:text", kOrFailed, "", "light sensor calibration"},
    {"GetLightData2",           kExt,               kReads,  "", "data:text", kOrFailed, "", "calibration of the second light sensor"},
    {"GetTofData",              kExt,               kReads,  "", "data:text", kOrFailed, "", "time-of-flight sensor calibration"},
    {"GetProximityNoise",       kExt,               kReads,  "", "data:text", kOrFailed, "", "proximity sensor noise"},
    {"GetVibratetData",         kExt,               kReads,  "", "data:text", kOrFailed, "", "vibrator calibration"},
    {"GetAPPLET",               kExt,               kUses,   "", "chip:u8{used=0,clean=1}", kOrFailed, "", "applet state of the secure element"},
    {"SeReset",                 kExt,               kFinal,  "", "", kOrFailed, "", "reset the secure element"},
    {"ReadSecPatch",            kExt,               kReads,  "", "patch:text", kOrFailed, "", "security patch level"},
    {"WriteCountryCode",        kExt,               kWrites, "code:text(63)", "", kFile, "DE", "write the country code"},
    {"ReadCountryCode",         kExt,               kReads,  "", "code:text(6)", kOrFailed, "", "country code"},
    {"WriteLcdCurrent",         kExt,               kWrites, "table:text(511)", "", kFile, "20,21,22", "write the LCD current table"},
    {"ReadLcdCurrent",          kExt,               kReads,  "", "table:text", kOrFailed, "", "LCD current table"},
    {"DeleteUnlockESIM",        kExt,               kFinal,  "", "reason:u8{none=0,not-removed=1}!", kKeySet, "", "delete the eSIM unlock password"},
    {"WriteUnlockESIM",         kExt,               kWrites, "password:counted(50)", "reason:u8{none=0,empty=1,too-long=2,already-set=3,not-stored=4}!", kKeySet, "secret", "set the eSIM unlock password"},
    {"CheckUnlockESIM",         kExt,               kReads,  "password:counted(50)", "reason:u8{none=0,empty=1,too-long=2,none-set=3,wrong=4}!", kKeySet, "secret", "check an eSIM unlock password"},
    {"startrchiptest",          kExt,               kWrites, "", "", kOrFailed, "", "power the RDSS chip up"},
    {"stopRchiptest",           kExt,               kWrites, "", "", kOrFailed, "", "stop the RDSS chip's test mode"},
    {"closerchiptest",          kExt,               kWrites, "", "", kOrFailed, "", "power the RDSS chip down"},
    {"sendRchipCN",             kExt,               kUses,   "", "cn:text(6)", kOrFailed, "", "carrier-to-noise ratio of the RDSS chip"},
    {"sendRchipNEWCN",          kExt,               kUses,   "", "cn:text(6)", kOrFailed, "", "carrier-to-noise ratio, new query"},
    {"sendrchipCCTCQ",          kExt,               kWrites, "", "", kOrFailed, "", "make the RDSS chip send its test message"},
    {"GetBrandofWeChatKey",     kExt,               kReads,  "", "brand:text(6)", kOrFailed, "", "manufacturer name, its first six characters"},
    {"ElecAccessNetAuthen",     kExt,               kUses,   "mode:u8{version=1,challenge=2,verify=3} digest:chars(64)?", "message:text", kOrFailed, "challenge", "network-access authentication, step by step (see unlock)"},
    {"GetDeviceModel",          kExt,               kReads,  "", "model:text", kOrFailed, "", "device model"},
    {"WriteEdigitalCode",       kExt,               kWrites, "label:text(31)", "", kOrFailed, "CTA12345678", "write the electronic label (after unlock)"},
    {"ReadEdigitalCode",        kExt,               kReads,  "", "label:text", kOrFailed, "", "electronic label"},
};
// clang-format on

constexpr Command kFreeRows[] = {
    {"", kMain, kWrites, "", "", kDone, "", ""},
    {"", kExt, kWrites, "", "", kDone, "", ""},
    {"", kBatt, kWrites, "", "", kDone, "", ""},
};

void put_u16(uint16_t value, Bytes* out) {
    out->push_back(static_cast<uint8_t>(value & 0xFFU));
    out->push_back(static_cast<uint8_t>(value >> 8U));
}

// How many of the words a row's name takes; 0 when it takes none.
size_t words_taken(const Command& command, const std::vector<std::string>& words) {
    const std::vector<std::string_view> names = split(command.name, ' ');
    if (is_ftm(command) || names.size() > words.size()) {
        return 0;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        if (!equal_names(names[i], words[i])) {
            return 0;
        }
    }
    return names.size();
}

// The name that an FTM request carries.
std::string_view requested_name(const Bytes& request) {
    const auto* text = reinterpret_cast<const char*>(request.data());
    const std::string_view rest(text + 4, request.size() - 4);
    return rest.substr(0, rest.find('\0'));
}

bool serves(const Command& command, const Bytes& request) {
    if (is_ftm(command)) {
        return begins_with(request, answer_head(command)) && equal_names(requested_name(request), command.name);
    }
    return begins_with(request, request_head(command));
}

}  // namespace

std::span<const Command> catalogue() { return kRows; }

const char* effect_text(Effect effect) {
    static constexpr const char* kTexts[] = {"reads only", "runs a program or uses something up", "changes the phone",
                                             "erases, or cannot be undone", "takes the phone down"};
    return kTexts[static_cast<size_t>(effect)];
}

bool is_ftm(const Command& command) { return command.where.via >= Via::kFtmMain; }

Bytes answer_head(const Command& command) {
    const Where& where = command.where;
    Bytes head;
    if (where.via == Via::kTop) {
        head.push_back(static_cast<uint8_t>(where.code));
        if (where.sub >= 0) {
            head.push_back(static_cast<uint8_t>(where.sub));
        }
        return head;
    }
    head = {kSubsystemDispatch, where.subsystem};
    put_u16(where.code, &head);
    return head;
}

Bytes request_head(const Command& command) {
    Bytes head = answer_head(command);
    if (is_ftm(command)) {
        const std::string_view name = command.name;
        head.insert(head.end(), name.begin(), name.end());
        head.push_back(0);
    }
    return head;
}

const Command* find_ftm(std::string_view name) {
    for (const Command& command : kRows) {
        if (is_ftm(command) && equal_names(command.name, name)) {
            return &command;
        }
    }
    return nullptr;
}

const Command* find_words(const std::vector<std::string>& words, size_t* used) {
    const Command* best = nullptr;
    *used = 0;
    for (const Command& command : kRows) {
        const size_t taken = words_taken(command, words);
        if (taken > *used) {
            best = &command;
            *used = taken;
        }
    }
    return best;
}

const Command* find_request(const Bytes& request) {
    for (const Command& command : kRows) {
        if (serves(command, request)) {
            return &command;
        }
    }
    for (const Command& command : kFreeRows) {
        if (begins_with(request, answer_head(command))) {
            return &command;
        }
    }
    return nullptr;
}

const Command& free_ftm(Via via) { return kFreeRows[static_cast<size_t>(via) - static_cast<size_t>(Via::kFtmMain)]; }

std::vector<Status> statuses_of(const Command& command) {
    std::vector<Status> list;
    bool marked = false;
    for (std::string_view entry : split(command.statuses, '|')) {
        Status status{0, entry.starts_with('+'), {}};
        marked = marked || status.success;
        entry.remove_prefix(status.success ? 1 : 0);
        const auto [end, error] = std::from_chars(entry.data(), entry.data() + entry.size(), status.value);
        status.text = entry.substr(std::min<size_t>(static_cast<size_t>(end - entry.data()) + 1, entry.size()));
        list.push_back(status);
    }
    for (Status& status : list) {
        status.success = marked ? status.success : status.value == 0;
    }
    return list;
}

Status status_of(const Command& command, int64_t value) {
    for (const Status& status : statuses_of(command)) {
        if (status.value == value) {
            return status;
        }
    }
    const bool unknown_name = is_ftm(command) && value == 255;
    return {value, value == 0, unknown_name ? "the phone does not know this command" : ""};
}

}  // namespace vdiag
