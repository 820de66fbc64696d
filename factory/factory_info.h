// The factory information store: named values in an XML file on the persist partition.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/include/diag.h"

DiagHandler diag_factory_read_cmd;   // subsystem 253, command 3
DiagHandler diag_factory_write_cmd;  // subsystem 253, command 4

extern const DiagDispatchTable diag_factory_info_table;

// One key of a request, a result or the store: a name and a value of at most 255 bytes each.
struct FactoryKey {
    std::string name;
    std::string value;
};

// Results of the store, as they stand in responses.
enum FactoryInfoStatus : uint32_t {
    kInfoOk = 0,
    kInfoNotSynced = 1,   // stored, but storage could not be synchronised
    kInfoFailed = 3,      // not parsed, created, read, saved or erased; not writable; or a key that cannot be stored
    kInfoIncomplete = 4,  // read: another number of records than requested
    kInfoNoMemory = 9,
    kInfoWrongRoot = 17,  // the document has no root element, or not "FactoryInfo"
};

// The store on its path below the persist directory.

// Stores the keys, or removes the file when `erase` is set.
FactoryInfoStatus store_data_to_file(const std::vector<FactoryKey>& keys, bool erase);
// Finds the requested keys. `requested_count` is the number of groups that the request names.
FactoryInfoStatus read_data_from_file(const std::vector<FactoryKey>& requested, uint16_t requested_count,
                                      std::vector<FactoryKey>* found);

// Publishes the seven well-known keys as "ftmd." properties, unless both low bits of `mode` are clear.
void init_prop_from_xml(int mode);
