// Network-access authentication, the digital label and the eSIM password, each as the factory tool drives it.
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <algorithm>

#include "ftm/ftm_auth.h"
#include "ftm/ftm_digest.h"
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kAuthen[] = "ElecAccessNetAuthen";

// What the tool does with a challenge: base64, then its private key.
std::string decipher(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    unsigned char cipher[300] = {};
    EXPECT_EQ(
        EVP_DecodeBlock(cipher, reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())),
        258);
    FILE* file = fopen(VENDORDIAG_SOURCE_DIR "/keys/auth_dev_private.pem", "re");
    EVP_PKEY* key = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr);
    (void)fclose(file);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(key, nullptr);
    unsigned char plain[256] = {};
    size_t size = sizeof(plain);
    EXPECT_EQ(EVP_PKEY_decrypt_init(context), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING), 1);
    EXPECT_EQ(EVP_PKEY_decrypt(context, plain, &size, cipher, kRsaCipherSize), 1);
    EVP_PKEY_CTX_free(context);
    EVP_PKEY_free(key);
    return {reinterpret_cast<char*>(plain), size};
}

class AuthTest : public PhoneTest {
   protected:
    FtmReply answer(const std::string& digits) { return ftm(kAuthen, hex("03") + text_bytes(digits)); }
    std::string ask_challenge() { return decipher(ftm(kAuthen, hex("02")).text()); }
    void open_gate() {
        const std::string challenge = ask_challenge();
        ASSERT_EQ(answer(sha256_hex(challenge.data(), challenge.size())).status, 0);
    }
};

TEST_F(AuthTest, VersionIsTheByteFourAndOtherModesFail) {
    EXPECT_EQ(ftm(kAuthen, hex("01")).first(2), hex("04 00"));
    for (const char* mode : {"00", "04", "ff", ""}) {
        EXPECT_EQ(ftm(kAuthen, hex(mode)).status, 1) << mode;
        EXPECT_EQ(ftm(kAuthen, hex(mode)).text(), "") << mode;
    }
}

TEST_F(AuthTest, ChallengeIsSixteenHexDigitsInLinesOfSixtyFour) {
    const std::string text = ftm(kAuthen, hex("02")).text();
    ASSERT_EQ(text.size(), 350U);
    EXPECT_EQ(text.substr(64, 1) + text.substr(349), "\n\n");
    const std::string challenge = decipher(text);
    EXPECT_EQ(challenge.size(), 16U);
    EXPECT_EQ(challenge.find_first_not_of("0123456789abcdef"), std::string::npos);
    expect_log({D("ftm_diag_req_cmd_elec_access_network_authen: req_args: 2"),
                D("ftm_diag_req_cmd_elec_access_network_authen: rand_encrypted_length: 256")});
}

TEST_F(AuthTest, AnswerIsComparedInAnyCaseAndOverSixtyFourDigits) {
    EXPECT_EQ(answer("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b856").status, 1);
    const std::string challenge = ask_challenge();
    const std::string good = sha256_hex(challenge.data(), challenge.size());
    std::string upper = good;
    std::transform(good.begin(), good.end(), upper.begin(), [](char c) { return static_cast<char>(toupper(c)); });
    for (const std::string& wrong : {good.substr(0, 63), good.substr(0, 62), good.substr(0, 63) + '!', std::string()}) {
        EXPECT_EQ(answer(wrong).status, 1) << wrong;
    }
    EXPECT_FALSE(ftm_label_gate_open());
    EXPECT_EQ(answer(upper).status, 0);
    EXPECT_EQ(answer(good + "and more").status, 0);
    EXPECT_EQ(answer("").status, 1);
    EXPECT_TRUE(ftm_label_gate_open()) << "a later failure closes nothing";
}

TEST_F(AuthTest, BeforeAnyChallengeTheDigestOfNothingCounts) {
    EXPECT_EQ(answer("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855").status, 0);
}

class LabelTest : public AuthTest {
   protected:
    void SetUp() override {
        make_cfg_partition();
        set_property("ro.product.model", "Simulated Phone");
    }
    FtmReply write_label(const std::string& label) { return ftm("WriteEdigitalCode", text_bytes(label)); }
    std::string record(const char* name) {
        char value[33] = {};
        return cfg_get(name, value, "") == 1 ? value : "missing";
    }
};

TEST_F(LabelTest, ClosedGateStoresNothing) {
    EXPECT_EQ(write_label("123456789012345").status, 1);
    expect_log(
        {D("ftm_diag_req_cmd_writeDigitalCode"), E("ftm_diag_req_cmd_writeDigitalCode is_digital_random_auth_ok = 0")});
    EXPECT_EQ(record("orb_digital_label_A"), "missing");
    EXPECT_EQ(ftm("ReadEdigitalCode").status, 1);
}

TEST_F(LabelTest, EveryLengthComesBackAsTheFixedTwentyOneBytes) {
    open_gate();
    const std::string letters = "1234567890ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (size_t length = 1; length <= 31; ++length) {
        const std::string label = letters.substr(0, length);
        const size_t padding = 16 - length % 16;
        const std::string block = label + std::string(padding, static_cast<char>(padding));
        ASSERT_EQ(write_label(label).status, 0) << length;
        clear_log();
        const FtmReply reply = ftm("ReadEdigitalCode");
        EXPECT_EQ(reply.status, 0) << length;
        EXPECT_EQ(reply.text(), block.substr(0, 21)) << length;
        EXPECT_TRUE(log_contains("plaintext_size = " + std::to_string(length)));
        EXPECT_FALSE(length > 3 && log_contains(label)) << "the label is in the log";
    }
}

TEST_F(LabelTest, RecordsHoldTheCipherOfTheModelsKey) {
    open_gate();
    ASSERT_EQ(write_label("123456789012345").status, 0);
    EXPECT_EQ(record("orb_digital_label_A"), "F2rT9ys/QTiDbs0dSBdDqA");
    EXPECT_EQ(record("orb_digital_label_B"), "==");
    set_property("ro.product.model", "S");  // too short: the vendor's name of the model counts
    set_property("ro.product.vendor.model", "Simulated Phone");
    ASSERT_EQ(write_label("1234567890123456").status, 0);
    EXPECT_EQ(record("orb_digital_label_A"), "zic8EEgNtRuCp7bvXLsLJ4");
    EXPECT_EQ(record("orb_digital_label_B"), "U2TQ3X3SZRHYnvfyg3b4I=");
}

TEST_F(LabelTest, LabelThatCannotBeStoredIsRefused) {
    open_gate();
    EXPECT_EQ(write_label("").status, 1);
    expect_log({E("ftm_diag_req_cmd_writeDigitalCode ret_cbc = -2")});
    EXPECT_EQ(write_label(std::string(32, 'x')).status, 1);
    expect_log({E("ftm_diag_req_cmd_writeDigitalCode nlen_output_base64111 = 64")});
    set_property("ro.product.model", "S");
    EXPECT_EQ(write_label("123").status, 1);
    expect_log({E("ftm_diag_req_cmd_writeDigitalCode nlen_model_prop = 1")});
    EXPECT_EQ(record("orb_digital_label_A"), "missing");
}

TEST_F(LabelTest, TamperedRecordsAreRefused) {
    const std::pair<const char*, const char*> cases[] = {
        {"F2rT9ys/QTiDbs0dSBdDq", "=="},                                            // short first half
        {"F2rT9ys/QTiDbs0dSBdDqA", ""},                                             // empty second half
        {"F2rT9ys/QTiDbs0dSBdDqA", "==="},                                          // odd length
        {"G2rT9ys/QTiDbs0dSBdDqA", "=="},                                           // another block
        {"F2rT9ys/!TiDbs0dSBdDqA", "=="},                                           // no base64
        {"F2rT9ys/QTiDbs0dSBdDqA", "AA"},                                           // more bytes than a block
        {"zic8EEgNtRuCp7bvXLsLJ4", "U2TQ3X3SZRHYnvfyg3b5I="},                       // another last block
        {"zic8EEgNtRuCp7bvXLsLJ4012345678 ", "U2TQ3X3SZRHYnvfyg3b4I=0123456789 "},  // both fields full
    };
    for (const auto& [a, b] : cases) {
        ASSERT_EQ(cfg_set("orb_digital_label_A", a) + cfg_set("orb_digital_label_B", b), 2);
        EXPECT_EQ(ftm("ReadEdigitalCode").status, 1) << a << " " << b;
    }
    set_property("ro.product.model", "Another Phone");
    ASSERT_EQ(cfg_set("orb_digital_label_A", "F2rT9ys/QTiDbs0dSBdDqA") + cfg_set("orb_digital_label_B", "=="), 2);
    EXPECT_EQ(ftm("ReadEdigitalCode").status, 1) << "a label of another phone";
    expect_log({E("ftm_diag_req_cmd_readDigitalCode plaintext_size222 = 0"),
                E("ftm_diag_req_cmd_readDigitalCode plaintext_size = 0")});
}

class EsimTest : public PhoneTest {
   protected:
    void SetUp() override { make_cfg_partition(); }
    void expect(const std::string& command, const std::string& password, int status, uint8_t reason) {
        const Bytes size = {static_cast<uint8_t>(password.size())};
        const FtmReply reply = ftm(command, size + text_bytes(password));
        EXPECT_EQ(reply.status, status) << command << " " << password;
        EXPECT_EQ(reply.first(6), Bytes({reason, 0, 0, 0, 0, 0})) << command << " " << password;
    }
};

TEST_F(EsimTest, PasswordIsSetOnceCheckedAndDeleted) {
    expect("DeleteUnlockESIM", "", 0, 0);
    expect("CheckUnlockESIM", "secret", 1, 3);
    expect("WriteUnlockESIM", "secret", 0, 0);
    char value[33] = {};
    ASSERT_EQ(cfg_get("orb.esim.unlock", value, ""), 1);
    EXPECT_STREQ(value, "f67406af5c7bc5de");
    expect("WriteUnlockESIM", "other", 1, 3);
    expect("CheckUnlockESIM", "secret", 0, 0);
    expect("CheckUnlockESIM", "other", 1, 4);
    expect("CheckUnlockESIM", std::string("secret\0tail", 11), 0, 0);  // a terminated text
    EXPECT_FALSE(log_contains("secret"));
    expect("DeleteUnlockESIM", "", 0, 0);
    expect("CheckUnlockESIM", "secret", 1, 3);
}

TEST_F(EsimTest, PasswordHoldsOneToFiftyBytes) {
    for (const char* command : {"WriteUnlockESIM", "CheckUnlockESIM"}) {
        expect(command, "", 1, 1);
        expect(command, std::string(51, 'p'), 1, 2);
        expect(command, std::string(255, 'p'), 1, 2);
        expect(command, std::string(50, 'p'), 0, 0);
    }
}

TEST_F(EsimTest, FullStoreIsReasonFour) {
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(cfg_set(("filler" + std::to_string(i)).c_str(), "x"), 1);
    }
    expect("WriteUnlockESIM", "secret", 1, 4);
}

}  // namespace
