// The partition that holds the vendor configuration store: which device, and the transfer of the whole image.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kVendorcfgImageSize = 8192;  // bytes of the store image
constexpr long kVendorcfgImageOffset = 4096;  // where it begins on the partition

// The one in-memory copy of the image; every record operation reads it anew and writes it back.
extern uint8_t vendorcfg_workbuffer[kVendorcfgImageSize];
extern const char* vendorcfg_blk_path;
extern int32_t blk_majorid;
extern int32_t blk_minorid;

// Reads the image into `buffer` (kVendorcfgImageSize bytes). 0, or -1 when less than the whole was read.
int vendorcfg_restore(uint8_t* buffer);
// Writes the image. 0, or -1 when less than the whole was written.
int vendorcfg_save(const uint8_t* buffer);
int vendorcfg_pl_restore(uint8_t* buffer);
int vendorcfg_pl_save(const uint8_t* buffer);

// What became of one transfer of the image.
enum class CfgTransfer {
    kWhole,    // all bytes moved
    kShort,    // some or none moved; a buffer read into holds what arrived
    kRefused,  // no device, or locked by another process: nothing was looked at
};

// As vendorcfg_restore, telling a short transfer from a refused one.
CfgTransfer read_image(uint8_t* buffer);
// As vendorcfg_save. With `current` false the lock is still asked for but nothing is written, so that an image that was
// composed without a look at the partition never replaces the records there.
CfgTransfer write_image(const uint8_t* buffer, bool current);

// Empties the whole store.
int vendorcfg_clean();
// Always 1.
int vendorcfg_checksize();
// Points vendorcfg_blk_path at the first candidate that exists; changes nothing when there is none.
void get_valid_blk_path();

// The private device node "/dev/__vcfg__" of the partition that the uevent scan finds, and its removal.
int create_vendorcfg_node();
int remove_vendorcfg_node();
// Scans "/sys/class/block" for the partition's device number (blk_majorid, blk_minorid). Always 0.
int get_major_minor_id();
// Looks at one uevent file. 0 when it names a partition, else -1.
int try_uevent(const char* path);
