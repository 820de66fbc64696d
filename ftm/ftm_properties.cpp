// Properties that are seeded from persist files at start-up.
#include "ftm/ftm_properties.h"

#include <algorithm>
#include <cstring>

#include "platform/include/log.h"
#include "platform/include/properties.h"
#include "support/files.h"

namespace {

// "ffbm" at the start of the boot mode: the factory boots in its own mode and nothing is seeded.
bool factory_boot(const char* name) {
    char boot_mode[PROPERTY_VALUE_MAX] = {};
    (void)property_get("ro.bootmode", boot_mode, "normal");
    ALOGD("%s: boot_mode = %s...\n", name, boot_mode);
    return strncmp(boot_mode, "ffbm", 4) == 0;
}

// True when the property has no value of its own yet.
bool reads_null(const char* name, const char* property) {
    char value[PROPERTY_VALUE_MAX] = {};
    (void)property_get(property, value, "null");
    ALOGD("%s: value_get_prop = %s...\n", name, value);
    return strncmp(value, "null", 4) == 0;
}

// Sets the property to the file's content, line end included, or to "null" when there is none.
void seed_from_file(const char* name, const char* property, const char* file) {
    const std::string path = persist_path(file);
    const NodeText content = read_node(path.c_str());
    ALOGD("%s: value_board = %s...\n", name, content.text());
    char value[PROPERTY_VALUE_MAX] = {};
    if (content.readable()) {
        memcpy(value, content.text(),
               std::min<size_t>(content.size, sizeof(value) - 1));  // cut to what a property holds
    } else {
        strcpy(value, "null");
    }
    (void)property_set(property, value);  // nobody to tell at start-up
}

}  // namespace

void ftm_diag_set_countrycode_prop() {
    constexpr const char* kProperty = "persist.vendor.sys.device.country";
    if (factory_boot(__func__)) {
        return;
    }
    if (!reads_null(__func__, kProperty)) {
        ALOGD("countrycode prop exit...\n");
        return;
    }
    seed_from_file(__func__, kProperty, "/countrycode");
}

void ftm_diag_set_fanlight_prop() {
    constexpr const char* kProperty = "persist.vendor.sys.device.fanlight";
    if (!reads_null(__func__, kProperty)) {
        ALOGD("fanlight prop exit...\n");
        return;
    }
    seed_from_file(__func__, kProperty, "/fan_light");
}

void ftm_diag_set_lcdcurrent_prop() {
    constexpr const char* kProperty = "persist.vendor.sys.device.lcdcurrent";
    if (factory_boot(__func__)) {
        return;
    }
    (void)reads_null(__func__, kProperty);  // only for its log line: the file always wins
    seed_from_file(__func__, kProperty, "/lcdcurrent");
}
