// The factory information store: document, file, commands and published properties.
#include "factory/factory_info.h"

#include "factory/factory_info_document.h"
#include "tests/support/phone.h"

namespace {

constexpr const char* kFile = "/persist/factoryinfo.xml";
using Keys = std::vector<FactoryKey>;

Bytes u32(size_t value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 24)};
}
Bytes u16(size_t value) { return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)}; }
Bytes counted(const std::string& text) { return Bytes{static_cast<uint8_t>(text.size())} + text_bytes(text); }

Bytes write_request(const Keys& keys) {
    Bytes groups;
    for (const FactoryKey& key : keys) {
        groups = groups + counted(key.name) + counted(key.value);
    }
    return hex("4b fd 04 00") + u32(10 + groups.size()) + u16(keys.size()) + groups;
}

Bytes read_request(const std::vector<std::string>& names) {
    Bytes groups;
    for (const std::string& name : names) {
        groups = groups + counted(name);
    }
    return hex("4b fd 03 00") + u32(10 + groups.size()) + u16(names.size()) + groups;
}

Bytes read_answer(uint32_t status, const Keys& records) {
    Bytes data;
    for (const FactoryKey& record : records) {
        data = data + counted(record.name) + counted(record.value);
    }
    return hex("4b fd 03 00") + u32(status) + u32(14 + data.size()) + u16(records.size()) + data;
}

class FactoryInfo : public PhoneTest {
   protected:
    FactoryInfo() { make_dir("/persist"); }
    uint32_t write(const Keys& keys) { return send(write_request(keys)); }
    uint32_t send(const Bytes& request) {
        const Bytes answer = exchange(request);
        EXPECT_EQ(answer.size(), 8U);
        return answer.size() == 8 ? answer[4] : ~0U;
    }
};

TEST_F(FactoryInfo, WrittenKeysStandInTheFileInTheirFirstOrder) {
    EXPECT_EQ(write({{"operator", "ABCD"}, {"color", "red"}}), 0U);
    EXPECT_EQ(write({{"sample", "1"}, {"color", "black"}}), 0U);
    EXPECT_EQ(read_file_text(kFile),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<FactoryInfo>\n"
              "  <operator sizeOf=\"4\">ABCD</operator>\n  <color sizeOf=\"5\">black</color>\n"
              "  <sample sizeOf=\"1\">1</sample>\n</FactoryInfo>\n");
    EXPECT_FALSE(exists(std::string(kFile) + ".new"));
}

TEST_F(FactoryInfo, ValuesComeBackByteForByte) {
    const Keys keys = {{"markup", "<a b='c'>&amp;]]>\"</a>"},
                       {"blanks", "  \t "},
                       {"ends", "a\r\nb\rc\n"},
                       {"utf8", "\xC3\xA9\xF0\x9F\x98\x80"},
                       {"empty", ""},
                       {"x", std::string(255, 'v')},
                       {"xml:id", "prefixed"},
                       {std::string(255, 'n'), "y"},
                       {"a.b-c_1", "z"}};
    EXPECT_EQ(write(keys), 0U);
    EXPECT_EQ(write({{"later", "1"}}), 0U);  // a rewrite changes none of them
    for (const FactoryKey& key : keys) {
        EXPECT_EQ(exchange(read_request({key.name})), read_answer(0, {key})) << key.name;
    }
}

TEST_F(FactoryInfo, KeyOrValueThatNoDocumentHoldsStoresNothing) {
    ASSERT_EQ(write({{"kept", "1"}}), 0U);
    const std::string before = read_file_text(kFile);
    for (const FactoryKey& bad : Keys{{"", "v"},
                                      {"1a", "v"},
                                      {"a b", "v"},
                                      {"a<", "v"},
                                      {"\xFF", "v"},
                                      {std::string("a\0b", 3), "v"},
                                      {"k", "\x01"},
                                      {"k", "\xC3"},
                                      {"k", "\xED\xA0\x80"},
                                      {"k", "\xF4\x90\x80\x80"},
                                      {"\xC1\xB6", "v"},
                                      {"k", "\xE0\x80\xBC"},
                                      {"k", std::string("a\0", 2)}}) {
        clear_log();
        EXPECT_EQ(write({{"kept", "2"}, bad}), 3U) << bad.name;
        expect_log({E("store_data_to_file: a key or a value cannot stand in the document")});
        EXPECT_EQ(read_file_text(kFile), before);
    }
}

TEST_F(FactoryInfo, ReadingCountsWhatWasFound) {
    write_file(kFile,
               "<!-- c --><FactoryInfo other='1'><a sizeOf='2'>xyz</a><!-- a --><b sizeOf='5'>12</b>"
               "<a sizeOf='300'>q</a><c>no size</c></FactoryInfo>");
    const FactoryKey a1 = {"a", "xy"};
    const FactoryKey a2 = {"a", "q" + std::string(43, '\0')};  // 300 cut to 8 bits, zeros for what is missing
    const FactoryKey b = {"b", std::string("12\0\0\0", 5)};
    EXPECT_EQ(exchange(read_request({"b"})), read_answer(0, {b}));
    EXPECT_EQ(exchange(read_request({"b", "none", "c"})), read_answer(4, {b, {"c", ""}}));
    EXPECT_EQ(exchange(read_request({"a"})), read_answer(4, {a1, a2}));
    EXPECT_EQ(exchange(read_request({})), read_answer(0, {}));
    EXPECT_EQ(exchange(read_request({"a", "none"})), read_answer(0, {a1, a2}));  // two asked for, two found
}

TEST_F(FactoryInfo, OnlyACompleteHeadWithNoGroupsErases) {
    EXPECT_EQ(write({}), 3U);  // nothing there yet
    for (size_t size = 0; size < 10; ++size) {
        ASSERT_EQ(write({{"kept", "1"}}), 0U);
        const Bytes whole = write_request({});
        (void)exchange(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        EXPECT_TRUE(exists(kFile)) << size;
    }
    EXPECT_EQ(write({}), 0U);
    EXPECT_FALSE(exists(kFile));
}

TEST_F(FactoryInfo, PacketThatEndsBeforeItsCountIsRefused) {
    ASSERT_EQ(write({{"kept", "1"}}), 0U);
    const std::string before = read_file_text(kFile);
    const Bytes whole = write_request({{"kept", "22"}, {"new", "333"}});
    for (size_t size = 10; size < whole.size(); ++size) {
        clear_log();
        EXPECT_EQ(send(Bytes(whole.begin(), whole.begin() + static_cast<long>(size))), 3U) << size;
        expect_log({E("diag_factory_write_cmd: the packet ends before its count")});
    }
    EXPECT_EQ(read_file_text(kFile), before);
    clear_log();
    EXPECT_EQ(exchange(hex("4b fd 03 00 0a 00 00 00 ff ff")), read_answer(4, {}));
    EXPECT_LT(log().size(), 10U);  // a count is no work of its own
    expect_log({E("diag_factory_read_cmd: warning! total length [10] != req_len [65545]")});
}

TEST_F(FactoryInfo, DocumentThatIsNotOursIsRefusedAndKept) {
    struct Case {
        std::string document;
        uint32_t status;
    };
    const Case cases[] = {
        {"", 3},
        {"<FactoryInfo>", 3},
        {"<!DOCTYPE FactoryInfo [<!ENTITY e 'x'>]><FactoryInfo><a>&e;</a></FactoryInfo>", 3},
        {"<!DOCTYPE FactoryInfo SYSTEM 'file:///etc/passwd'><FactoryInfo/>", 3},
        {"<FactoryInfo>" + std::string(3 << 20, ' ') + "</FactoryInfo>", 3},
        {"<Other><a sizeOf='1'>1</a></Other>", 17},
    };
    for (const Case& c : cases) {
        write_file(kFile, c.document);
        EXPECT_EQ(write({{"a", "1"}}), c.status) << c.document.substr(0, 80);
        EXPECT_EQ(exchange(read_request({"a"})), read_answer(c.status, {})) << c.document.substr(0, 80);
        EXPECT_EQ(read_file_text(kFile), c.document);
    }
}

TEST_F(FactoryInfo, CommentsAndForeignAttributesSurviveARewrite) {
    write_file(kFile, "<FactoryInfo v=\"2\"><!-- one --><a note=\"n\" sizeOf=\"1\">1<!-- two --></a></FactoryInfo>");
    EXPECT_EQ(write({{"a", "22"}, {"b", "3"}}), 0U);
    const std::string after = read_file_text(kFile);
    for (const char* kept : {"v=\"2\"", "<!-- one -->", "<!-- two -->", "note=\"n\" sizeOf=\"2\"", ">22<"}) {
        EXPECT_NE(after.find(kept), std::string::npos) << kept << " in " << after;
    }
}

TEST_F(FactoryInfo, NothingIsStoredThatCouldNotBeReadBack) {
    const FactoryKey first{"first", "1"};
    uint32_t status = write({first});
    for (int part = 0; status == 0 && part < 8; ++part) {
        Keys keys;
        for (int i = 0; i < 200; ++i) {
            keys.push_back({"k" + std::to_string(part) + "." + std::to_string(i), std::string(255, '&')});
        }
        status = write(keys);
    }
    EXPECT_EQ(status, 3U);
    expect_log({E("factory xml file would be too large")});
    EXPECT_EQ(exchange(read_request({"first"})), read_answer(0, {first}));
    EXPECT_EQ(write({{"first", "2"}}), 0U);
}

TEST_F(FactoryInfo, FailedSaveKeepsTheOldDocument) {
    ASSERT_EQ(write({{"a", "1"}}), 0U);
    const std::string before = read_file_text(kFile);
    make_dir(std::string(kFile) + ".new");  // nothing can be written beside the file
    clear_log();
    EXPECT_EQ(write({{"a", "2"}}), 3U);
    expect_log({E("save /persist/factoryinfo.xml failed File exists")});
    EXPECT_EQ(read_file_text(kFile), before);
    remove(std::string(kFile) + ".new");
    write_file("/persist/other", "another's");
    make_link(std::string(kFile) + ".new", "other");  // a link at that name is not followed
    EXPECT_EQ(write({{"a", "2"}}), 0U);
    EXPECT_EQ(read_file_text("/persist/other"), "another's");
    EXPECT_FALSE(exists(std::string(kFile) + ".new"));
}

TEST_F(FactoryInfo, LivesInTheOtherPersistDirectoryWhenThereIsNone) {
    remove("/persist");
    make_dir("/mnt/vendor/persist");
    EXPECT_EQ(write({{"a", "1"}}), 0U);
    EXPECT_TRUE(exists("/mnt/vendor/persist/factoryinfo.xml"));
}

TEST_F(FactoryInfo, AnswerNeverExceedsAFrame) {
    std::string document = "<FactoryInfo>";
    for (int i = 0; i < 2000; ++i) {
        document += "<a sizeOf='255'>x</a>";
    }
    write_file(kFile, document + "</FactoryInfo>");
    const Bytes answer = exchange(read_request({"a"}));
    EXPECT_EQ(answer.size(), 14U + 253U * 258U);
    EXPECT_EQ(answer.at(4), 4);
}

TEST_F(FactoryInfo, SevenKeysArePublished) {
    ASSERT_EQ(write({{"operator", "ABCD"}, {"private", "x"}, {"bis_flag", "1"}, {"color", std::string(92, 'c')}}), 0U);
    init_prop_from_xml(4);
    EXPECT_EQ(property("ftmd.operator"), "");
    clear_log();
    init_prop_from_xml(2);
    EXPECT_EQ(property("ftmd.operator"), "ABCD");
    EXPECT_EQ(property("ftmd.bis_flag"), "1");
    EXPECT_EQ(property("ftmd.private"), "");
    EXPECT_EQ(property("ftmd.color"), "");
    expect_log_only({D("init_prop_from_xml enter"), D("val = ABCD"), D("val = 1"), D("val = " + std::string(92, 'c')),
                     E("init_prop_from_xml error")});
    remove(kFile);
    clear_log();
    init_prop_from_xml(2);
    expect_log_only(
        {D("init_prop_from_xml enter"), E("init_prop_from_xml failed to parse XML file /persist/factoryinfo.xml")});
}

}  // namespace
