// The RDSS chip's sentences: assembly byte by byte, splitting into fields, one parser for each sentence id.
#include "rdss/sentence_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/include/log.h"
#include "rdss/sentence_numbers.h"

RdssDataReader rdss_data_reader;

namespace {

constexpr const char* kParse = "rdss_data_reader_parse";
constexpr int kShortestSentence = 9;
constexpr size_t kMaxFields = 32;
constexpr size_t kChecksumSize = 3;  // "*hh"
constexpr size_t kShortestId = 3;
constexpr size_t kLongTextMax = 32;
constexpr size_t kShortTextMax = 16;

// Field 0 is the sentence id. Fields that are not there are empty.
using Fields = std::string_view[kMaxFields];

// Reads the fields of one kind of sentence. Returns whether it is a positive answer.
using SentenceParser = bool(const Fields& fields, RdssDataReader* reader);

uint8_t low_byte(int value) { return static_cast<uint8_t>(value); }

// Kept: no terminator of its own, so a shorter text leaves the tail of a longer one behind it.
void store_text(std::string_view field, char (&text)[kReaderTextSize]) { (void)field.copy(text, kReaderTextSize - 1); }

// A field as the arguments of "%.*s".
struct FieldText {
    int size;
    const char* text;
};
FieldText field_text(std::string_view field, size_t max) {
    return {static_cast<int>(std::min(field.size(), max)), field.empty() ? "" : field.data()};
}

// Command 2 with result 0: the test mode has changed as asked for.
bool test_mode_answer(const char* id, const Fields& fields) {
    const int cmd = low_byte(str2int(fields[1]));
    const int result = str2int(fields[2]);
    ALOGD("%s s->cmd: %d, s->result: %d\n", id, cmd, result);
    return cmd == 2 && low_byte(result) == 0;
}

bool parse_test_start(const Fields& fields, RdssDataReader*) {
    ALOGD("s->cmd: %d\n", low_byte(str2int(fields[1])));
    return test_mode_answer("QXDFTSTART", fields);
}

bool parse_test_stop(const Fields& fields, RdssDataReader*) { return test_mode_answer("QXDFTSTOP", fields); }

bool parse_carrier_to_noise(const Fields& fields, RdssDataReader* reader) {
    const int cmd = str2int(fields[1]);
    const double result = str2float(fields[2]);
    store_text(fields[2], reader->cn);
    ALOGD("QXDFTCNQ s->cmd: %d, s->result: %f\n", cmd, result);
    return low_byte(cmd) == 2;
}

// The echo of the request for the new carrier-to-noise ratio.
bool parse_power_request(const Fields& fields, RdssDataReader*) {
    const int moonnum = str2int(fields[1]);
    const int branchnum = str2int(fields[2]);
    const int num = str2int(fields[3]);
    ALOGD("CCPWS s->moonnum: %d, s->branchnum: %d, s->num: %d\n", moonnum, branchnum, num);
    return low_byte(moonnum) == 64 && low_byte(branchnum) == 3 && low_byte(num) == 10;
}

bool parse_power_report(const Fields& fields, RdssDataReader* reader) {
    const auto num = static_cast<int8_t>(low_byte(str2int(fields[2])));
    const auto bandnum = static_cast<int8_t>(low_byte(str2int(fields[3])));
    const double s2c_d = str2float(fields[4]);
    const double s2c_p = str2float(fields[5]);
    store_text(fields[5], reader->cn_new);
    ALOGD("BDPWI s->num: %d, s->bandnum: %d, s->s2c_d: %f, s->s2c_p: %f\n", num, bandnum, s2c_d, s2c_p);
    return num > 0;
}

bool parse_send_report(const Fields& fields, RdssDataReader*) {
    const FieldText time = field_text(fields[1], kLongTextMax);
    const FieldText cmd = field_text(fields[2], kLongTextMax);
    const char send_state = fields[3].starts_with('Y') ? 'Y' : 'N';
    const int fail_cause = str2int(fields[4]);
    const FieldText surplus_time = field_text(fields[5], kShortTextMax);
    const int msg_id = str2int(fields[6]);
    ALOGD("BDFKI s->time=%.*s, s->cmd=%.*s, s->send_state=%c, s->fail_cause=%d, s->surplus_time=%.*s, s->msg_id=%d\n",
          time.size, time.text, cmd.size, cmd.text, send_state, fail_cause, surplus_time.size, surplus_time.text,
          msg_id);
    return fields[2] == "TCQ" && send_state == 'Y';
}

bool parse_version(const Fields& fields, RdssDataReader* reader) {
    memset(reader->chip_version, 0, sizeof(reader->chip_version));
    store_text(fields[2], reader->chip_version);
    reader->flags |= kReaderHasVersion;
    ALOGD("%s: r->chip_version: %s\n", kParse, reader->chip_version);
    return false;
}

bool parse_nothing(const Fields&, RdssDataReader*) { return false; }

// The first row whose id begins field 0 decides.
struct SentenceRow {
    std::string_view id;
    SentenceParser* parser;
};
constexpr SentenceRow kSentences[] = {
    {"QXDFTSTART", parse_test_start}, {"QXDFTSTOP", parse_test_stop}, {"QXDFTCNQ", parse_carrier_to_noise},
    {"CCPWS", parse_power_request},   {"BDPWI", parse_power_report},  {"BDFKI", parse_send_report},
    {"QXMONVER", parse_version},      {"GNRMC", parse_nothing},       {"QXSIM", parse_nothing},
};

// What stands between "$" and the checksum. Kept: the checksum is cut off unread, for the chip may send the placeholder
// "hh" in its place.
std::string_view sentence_body(std::string_view sentence) {
    if (sentence.starts_with('$')) {
        sentence.remove_prefix(1);
    }
    if (sentence.ends_with('\n')) {
        sentence.remove_suffix(1);
        if (sentence.ends_with('\r')) {
            sentence.remove_suffix(1);
        }
    }
    if (sentence.size() >= kChecksumSize && sentence[sentence.size() - kChecksumSize] == '*') {
        sentence.remove_suffix(kChecksumSize);
    }
    return sentence;
}

void split_fields(std::string_view body, Fields& fields) {
    for (std::string_view& field : fields) {
        const size_t size = std::min(body.find(','), body.size());
        field = body.substr(0, size);
        if (size == body.size()) {
            return;
        }
        body.remove_prefix(size + 1);
    }
}

void clear_sentence(RdssDataReader* reader) {
    memset(reader->buffer, 0, sizeof(reader->buffer));
    reader->pos = 0;
}

}  // namespace

void rdss_data_reader_init() {
    rdss_data_reader = {};
    memset(rdss_data_reader.reserved_ones, 0xFF, sizeof(rdss_data_reader.reserved_ones));
    rdss_data_reader.reserved_minus_one = -1;
    rdss_data_reader.reserved_minus_one_too = -1;
}

int rdss_data_reader_addc(int c) {
    RdssDataReader* const r = &rdss_data_reader;
    if (r->overflow != 0) {
        ALOGD("%s: c = %d,r->overflow = %d", __func__, c, r->overflow);
        r->overflow = c != '\n' ? 1 : 0;
        return -1;
    }
    if (r->pos >= kSentenceMax) {
        ALOGD("%s: c = %d,r->pos = %d", __func__, c, r->pos);
        // Kept: the rest of an over-long sentence is not skipped to its line feed.
        r->overflow = 0;
        clear_sentence(r);
        return -1;
    }
    if (r->pos == 0 || c == '$') {
        ALOGD("%s: c = %c,r->pos111 = %d", __func__, c, r->pos);
        if (c != '$') {
            return -1;
        }
        clear_sentence(r);
    }
    r->buffer[r->pos] = static_cast<char>(c);
    r->pos++;
    if (c != '\n') {
        return -1;
    }
    int result = -1;
    if (r->pos >= 3 && r->buffer[r->pos - 2] == '\r') {
        ALOGD("%s: rdss_data_reader_parse %c", __func__, c);
        result = rdss_data_reader_parse(r);
    }
    clear_sentence(r);
    return result;
}

int rdss_data_reader_parse(RdssDataReader* reader) {
    ALOGD("%s start\n", kParse);
    if (reader->pos < kShortestSentence) {
        ALOGD("Too short. discarded.\n");
        return -1;
    }
    const std::string_view body = sentence_body({reader->buffer, static_cast<size_t>(reader->pos)});
    Fields fields;
    split_fields(body, fields);
    const int logged = reader->pos - 1;  // without the line feed
    ALOGD("%.*s\n", logged, reader->buffer);
    if (fields[0].size() < kShortestId) {
        const FieldText id = field_text(fields[0], kShortestId);
        ALOGD("sentence id '%.*s' too short, ignored.\n", id.size, id.text);
        return -1;
    }
    ALOGD("tok.p: %s\n", fields[0].data());
    for (const SentenceRow& row : kSentences) {
        if (fields[0].starts_with(row.id)) {
            ALOGD("%.*s\n", logged, reader->buffer);
            return row.parser(fields, reader) ? 0 : -1;
        }
    }
    return -1;
}

const char* get_rdss_chip_cn() {
    ALOGD("%s: CN value = %s", __func__, rdss_data_reader.cn);
    return rdss_data_reader.cn;
}

const char* get_rdss_chip_cn_new() {
    ALOGD("%s: CN new value = %s", __func__, rdss_data_reader.cn_new);
    return rdss_data_reader.cn_new;
}
