// The catalogue against the daemon's own tables, and against itself.
#include "tools/vdiag/catalogue/catalogue.h"

#include <gtest/gtest.h>

#include <set>

#include "ftm/ftm_command.h"
#include "tests/support/phone.h"
#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/face/help.h"

namespace vdiag {
namespace {

std::set<std::string> names_via(Via via) {
    std::set<std::string> names;
    for (const Command& command : catalogue()) {
        if (command.where.via == via) {
            names.insert(command.name);
        }
    }
    return names;
}

template <typename Row, size_t N>
std::set<std::string> names_of(const Row (&map)[N]) {
    std::set<std::string> names;
    for (const Row& row : map) {
        names.insert(row.cmd);
    }
    return names;
}

TEST(CatalogueTest, NamesTheTextCommandsOfBothMapsAndNoOthers) {
    EXPECT_EQ(names_via(Via::kFtmMain), names_of(ftm_diag_req_cmd_map));
    EXPECT_EQ(names_via(Via::kFtmExt), names_of(ftm_diag_req_ext_cmd_map));
    EXPECT_EQ(names_via(Via::kFtmBattery), std::set<std::string>{"setfactorymode"});
}

class CatalogueOnPhoneTest : public PhoneTest {};

TEST_F(CatalogueOnPhoneTest, NumbersEveryRegisteredRequestAndNoOthers) {
    std::set<std::pair<unsigned, unsigned>> registered;
    for (const DiagDispatchTable* table : host_diag_tables()) {
        for (unsigned i = 0; i < table->count; ++i) {
            registered.emplace(table->subsys_id, table->entries[i].cmd_code_lo);
        }
    }
    std::set<std::pair<unsigned, unsigned>> known;
    for (const Command& command : catalogue()) {
        const bool top = command.where.via == Via::kTop;
        known.emplace(top ? unsigned{kDiagNoSubsystem} : command.where.subsystem, command.where.code);
    }
    EXPECT_EQ(known.erase({kDiagNoSubsystem, 0}), 1U);  // the diag library's own
    EXPECT_EQ(known, registered);
}

TEST(CatalogueTest, RowsAreWellFormedAndTheirExamplesCanBeSent) {
    std::set<std::string> names;
    for (const Command& command : catalogue()) {
        SCOPED_TRACE(command.name);
        EXPECT_TRUE(names.insert(command.name).second);
        std::vector<Field> fields;
        EXPECT_TRUE(shape_parse(command.arguments, &fields));
        EXPECT_TRUE(shape_parse(command.answer, &fields));
        std::vector<std::string> words;
        std::string error;
        Bytes request;
        ASSERT_TRUE(split_words(command.example, &words, &error));
        if (std::string_view(command.example).find('@') == std::string_view::npos) {
            EXPECT_TRUE(encode_request(command, words, &request, &error)) << error;
        }
        for (const Status& status : statuses_of(command)) {
            EXPECT_FALSE(status.text.empty()) << status.value;
        }
    }
}

// Every answer, cut anywhere, is read without a fault of ours and never past its end; whole, it has no rest.
TEST(CatalogueTest, AnswersAreReadWholeAndCutAnywhere) {
    for (const Command& command : catalogue()) {
        SCOPED_TRACE(command.name);
        const Bytes request = request_head(command);
        Bytes answer = sample_answer(command);
        const Answer whole = decode_answer(request, answer, &command);
        EXPECT_TRUE(whole.good()) << whole.fault;
        EXPECT_TRUE(whole.rest.empty());
        const size_t head = answer_head(command).size();
        for (; answer.size() > head; answer.pop_back()) {
            (void)decode_answer(request, answer, &command);
        }
        answer.resize(head);
        const bool fieldless = sample_answer(command).size() == head;
        EXPECT_EQ(decode_answer(request, answer, &command).fault.empty(), fieldless);
    }
}

TEST(CatalogueTest, FindsRowsByWordsByNameAndByRequest) {
    size_t used = 0;
    EXPECT_STREQ(find_words({"Version", "DIAG", "x"}, &used)->name, "version diag");
    EXPECT_EQ(used, 2U);
    EXPECT_STREQ(find_words({"version", "x"}, &used)->name, "version");
    EXPECT_EQ(find_words({"readwifimac"}, &used), nullptr);
    EXPECT_STREQ(find_ftm("READWIFIMAC")->name, "ReadWifimac");
    EXPECT_STREQ(find_request({0xF6, 11})->name, "rtn show");
    EXPECT_EQ(find_request({0xF6, 99}), nullptr);
    EXPECT_EQ(find_request({}), nullptr);
    EXPECT_EQ(find_request(request_head(*find_ftm("ReadUDID"))), find_ftm("ReadUDID"));
    EXPECT_EQ(find_request({75, 11, 0xFF, 0x7F, 'X', 0}), &free_ftm(Via::kFtmExt));
}

}  // namespace
}  // namespace vdiag
