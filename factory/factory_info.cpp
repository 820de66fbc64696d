// The factory information store: its file, its two commands and its publishing.
#include "factory/factory_info.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>

#include "factory/factory_info_document.h"
#include "factory/factory_request.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "platform/include/properties.h"
#include "support/files.h"

namespace {

constexpr uint16_t kReadCommand = 3;
constexpr uint16_t kWriteCommand = 4;
constexpr size_t kGroupsOffset = 10;    // behind the header, u32 total length and u16 number of groups
constexpr size_t kReadHead = 14;        // response: header, u32 status, u32 total length, u16 number of records
constexpr size_t kMaxResponse = 65535;  // what a frame carries
constexpr size_t kReadLimit = 2 << 20;  // a file beyond this is no factory information
constexpr size_t kPropertyNameSize = 32;
constexpr const char* kFileName = "/factoryinfo.xml";

constexpr const char* kPublishedKeys[] = {"sample",           "color",      "operator", "TPstatus",
                                          "anti_usb_install", "DateofManu", "bis_flag"};

constexpr DiagDispatchEntry info_entries[] = {
    {kReadCommand, kReadCommand, guarded<diag_factory_read_cmd>},
    {kWriteCommand, kWriteCommand, guarded<diag_factory_write_cmd>},
};

// The groups of a request, as far as the packet describes them.
struct InfoRequest {
    uint32_t total_length;  // as the tool computed it
    uint16_t number_group;
    std::vector<FactoryKey> keys;
    size_t computed_length;  // what the total length should be; groups that are missing count as empty ones
    bool complete;           // the packet holds every group whole
};

std::string request_bytes(RequestView request, size_t offset, size_t size) {
    std::string bytes(size, '\0');
    request_copy(request, offset, bytes.data(), size);
    return bytes;
}

void parse_groups(RequestView request, bool with_values, const char* name, InfoRequest* info) {
    const size_t counts = with_values ? 2 : 1;
    size_t offset = kGroupsOffset;
    size_t groups = 0;
    for (; groups < info->number_group && offset < request.size; ++groups) {
        FactoryKey key;
        key.name = request_bytes(request, offset + 1, request_u8(request, offset));
        offset += 1 + key.name.size();
        if (with_values) {
            key.value = request_bytes(request, offset + 1, request_u8(request, offset));
            offset += 1 + key.value.size();
            ALOGD("%s: data_name_len: %d, data_name: %s, data_value_length: %d, data_value: %s", name,
                  static_cast<int>(key.name.size()), key.name.c_str(), static_cast<int>(key.value.size()),
                  key.value.c_str());
        } else {
            ALOGD("%s: data_name_len: %d, data_name :%s\n", name, static_cast<int>(key.name.size()), key.name.c_str());
        }
        info->keys.push_back(std::move(key));
    }
    info->computed_length = offset + (info->number_group - groups) * counts;
    info->complete = groups == info->number_group && offset <= request.size;
}

InfoRequest parse_request(RequestView request, bool with_values, const char* name) {
    InfoRequest info = {};
    info.total_length = request_u32(request, 4);
    info.number_group = request_u16(request, 8);
    ALOGD("%s: total_length: %d, number_group :%d", name, static_cast<int>(info.total_length), info.number_group);
    parse_groups(request, with_values, name, &info);
    if (info.total_length != info.computed_length) {
        ALOGE("%s: warning! total length [%d] != req_len [%d]\n", name, static_cast<int>(info.total_length),
              static_cast<int>(info.computed_length));
    }
    return info;
}

// The status of `work`, or that of a request that finds no memory: what a command answers has a place for it.
template <typename Work>
FactoryInfoStatus unless_out_of_memory(const char* name, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        ALOGD("%s: mem_alloc_fail\n", name);
        return kInfoNoMemory;
    }
}

FactoryInfoStatus write_groups(RequestView request, const char* name) {
    const InfoRequest info = parse_request(request, true, name);
    if (!info.complete) {  // stores nothing, and erases nothing
        ALOGE("%s: the packet ends before its count\n", name);
        return kInfoFailed;
    }
    return store_data_to_file(info.keys, info.number_group == 0);
}

FactoryInfoStatus read_groups(RequestView request, const char* name, std::vector<FactoryKey>* found) {
    const InfoRequest info = parse_request(request, false, name);
    return read_data_from_file(info.keys, info.number_group, found);
}

// False when the file cannot be read whole.
bool read_document(const char* path, std::string* document) {
    const UniqueFd file(device_open(path, kReadFlags));
    char chunk[4096];
    ssize_t count = file.ok() ? 1 : -1;
    while (count > 0 && document->size() < kReadLimit) {
        count = read_once(file.get(), chunk, sizeof(chunk));
        document->append(chunk, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return count == 0;
}

// Replaces the file in one step: whoever looks finds the old document or the new one.
FactoryInfoStatus save_document(const std::string& path, const std::string& document) {
    FileReplacement file(path, 0666, FileReplacement::Mode::kMasked, FileReplacement::Place::kWhatever);
    const WriteStep step = file.ok() ? file.store(document.data(), document.size()) : WriteStep::kWriteFailed;
    switch (step) {
        case WriteStep::kDone:
            return kInfoOk;
        case WriteStep::kNotDurable:
            ALOGE("Do fsync fail\n");
            return kInfoNotSynced;
        default:
            ALOGE("save %s failed %s\n", path.c_str(), strerror(errno));
            return kInfoFailed;
    }
}

FactoryInfoStatus erase_document(const char* path) {
    ALOGD("try to erase factory info xml\n");
    if (device_remove(path) != 0) {
        ALOGE("factory info xml %s\n", strerror(errno));
        return kInfoFailed;
    }
    if (!sync_directory_of(path)) {
        ALOGE("Do fsync fail\n");
        return kInfoNotSynced;
    }
    return kInfoOk;
}

uint8_t* info_response(uint16_t command, unsigned size, FactoryInfoStatus status, NoRoomLine line) {
    uint8_t* rsp = subsystem_response(kFactorySubsystem, command, size, line);
    if (rsp != nullptr) {
        put_u32(rsp + kDiagHeaderSize, status);
    }
    return rsp;
}

size_t records_size(const std::vector<FactoryKey>& records) {
    size_t size = 0;
    for (const FactoryKey& record : records) {
        size += record.name.size() + record.value.size() + 2;
    }
    return size;
}

uint8_t* put_counted(uint8_t* out, const std::string& bytes) {
    *out = static_cast<uint8_t>(bytes.size());
    return std::copy(bytes.begin(), bytes.end(), out + 1);
}

void publish_key(const char* name, const char* key, const char* value) {
    const bool published = std::any_of(std::begin(kPublishedKeys), std::end(kPublishedKeys),
                                       [key](const char* known) { return strcmp(known, key) == 0; });
    if (!published) {
        return;
    }
    ALOGD("val = %s\n", value);
    char property[kPropertyNameSize];
    (void)snprintf(property, sizeof(property), "ftmd.%s", key);
    if (property_set(property, value) != 0) {
        ALOGE("%s error\n", name);
    }
}

}  // namespace

const DiagDispatchTable diag_factory_info_table = diag_table(kFactorySubsystem, info_entries);

void* diag_factory_write_cmd(const void* request, uint16_t length) {
    ALOGD("%s: enter", __func__);
    const char* const name = __func__;
    const FactoryInfoStatus status =
        unless_out_of_memory(name, [=] { return write_groups(request_view(request, length), name); });
    return info_response(kWriteCommand, 8, status, {__func__, ": diagpkt_subsys_alloc failed"});
}

void* diag_factory_read_cmd(const void* request, uint16_t length) {
    ALOGD("%s: enter\n", __func__);
    const char* const name = __func__;
    std::vector<FactoryKey> found;
    const FactoryInfoStatus status =
        unless_out_of_memory(name, [=, &found] { return read_groups(request_view(request, length), name, &found); });
    if (status == kInfoNoMemory) {
        found.clear();
    }
    const size_t data_length = records_size(found);
    ALOGD("%s: data len : %d\n", __func__, static_cast<int>(data_length));
    const auto size = static_cast<unsigned>(kReadHead + data_length);
    uint8_t* rsp = info_response(kReadCommand, size, status, {__func__, ": diagpkt_subsys_alloc failed\n"});
    if (rsp == nullptr) {
        return nullptr;
    }
    put_u32(rsp + 8, size);
    put_u16(rsp + 12, static_cast<uint16_t>(found.size()));
    uint8_t* out = rsp + kReadHead;
    for (const FactoryKey& record : found) {
        out = put_counted(put_counted(out, record.name), record.value);
    }
    return rsp;
}

FactoryInfoStatus store_data_to_file(const std::vector<FactoryKey>& keys, bool erase) {
    ALOGD("%s enter\n", __func__);
    if (!factory_info_storable(keys)) {
        ALOGE("%s: a key or a value cannot stand in the document\n", __func__);
        return kInfoFailed;
    }
    const std::string path = persist_path(kFileName);
    if (erase) {
        return erase_document(path.c_str());
    }
    std::string old_document;
    // Only a file that is certainly not there is made anew: what cannot be looked at may hold something.
    const bool exists = device_access(path.c_str(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
    if (!exists) {
        ALOGD("Xml file not exist, create it first\n");
    } else {
        ALOGD("Xml file exist\n");
        if (device_access(path.c_str(), W_OK) != 0) {
            ALOGE("no permission write file %s\n", path.c_str());
            return kInfoFailed;
        }
        ALOGD("access file, writable\n");
        if (!read_document(path.c_str(), &old_document)) {
            ALOGE("read factory xml file error\n");
            return kInfoFailed;
        }
    }
    std::string document;
    const FactoryInfoStatus status = factory_info_update(exists ? &old_document : nullptr, keys, &document);
    if (status != kInfoOk) {
        return status;
    }
    return save_document(path, document);
}

FactoryInfoStatus read_data_from_file(const std::vector<FactoryKey>& requested, uint16_t requested_count,
                                      std::vector<FactoryKey>* found) {
    ALOGD("%s enter\n", __func__);
    const std::string path = persist_path(kFileName);
    std::string document;
    (void)read_document(path.c_str(), &document);  // what cannot be read cannot be parsed either
    const FactoryInfoStatus status =
        factory_info_find(document, path.c_str(), requested, kMaxResponse - kReadHead, found);
    if (status != kInfoOk) {
        return status;
    }
    return found->size() == requested_count ? kInfoOk : kInfoIncomplete;
}

void init_prop_from_xml(int mode) {
    ALOGD("%s enter\n", __func__);
    const char* name = __func__;
    const std::string path = persist_path(kFileName);
    std::string document;
    (void)read_document(path.c_str(), &document);  // as above
    factory_info_for_each(document, path.c_str(), name, [name, mode](const char* key, const char* value) {
        if ((mode & 3) != 0) {
            publish_key(name, key, value);
        }
    });
}
