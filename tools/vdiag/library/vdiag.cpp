// The library's face: its types to the client's and back.
#include "tools/vdiag/library/vdiag.h"

#include <algorithm>

#include "tools/vdiag/library/typed.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/report.h"
#include "version/version.h"

namespace libvdiag {
namespace {

template <typename Type>
Type value_or_default(const Field* field) {
    const Type* value = field != nullptr ? std::get_if<Type>(&field->value) : nullptr;
    return value != nullptr ? *value : Type();
}

Answer failed(const vdiag::Failure& failure) {
    Answer answer;
    answer.outcome = static_cast<Outcome>(failure.exit_status);
    answer.text = failure.text;
    return answer;
}

Field field_of(const vdiag::Value& value) {
    switch (value.kind) {
        case vdiag::Value::Kind::kNumber:
            return {value.name, value.number, value.text};
        case vdiag::Value::Kind::kText:
            return {value.name, value.text, ""};
        default:
            return {value.name, value.bytes, ""};
    }
}

Answer answer_of(const vdiag::Answer& from) {
    Answer answer;
    answer.outcome = static_cast<Outcome>(vdiag::exit_status_of(from));
    answer.text = vdiag::complaint(from);
    if (from.status) {
        answer.status = from.status->value;
        answer.status_text = std::string(from.status->text);
    }
    std::transform(from.values.begin(), from.values.end(), std::back_inserter(answer.fields), field_of);
    answer.request = from.request;
    answer.response = from.response;
    return answer;
}

}  // namespace

const Field* Answer::find(const std::string& name) const {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const Field& field) { return field.name == name; });
    return found != fields.end() ? &*found : nullptr;
}

int64_t Answer::number(const std::string& name) const { return value_or_default<int64_t>(find(name)); }
std::string Answer::string(const std::string& name) const { return value_or_default<std::string>(find(name)); }
Bytes Answer::bytes(const std::string& name) const { return value_or_default<Bytes>(find(name)); }

struct Phone::State {
    vdiag::Session session;
};

Phone::Phone(std::string address, std::chrono::milliseconds timeout) : state_(std::make_unique<State>()) {
    state_->session.address = address.empty() ? vdiag::default_address() : std::move(address);
    state_->session.timeout_ms = static_cast<int>(std::clamp<int64_t>(timeout.count(), 0, INT32_MAX));
    state_->session.quiet = true;
}

Phone::~Phone() = default;
Phone::Phone(Phone&& other) noexcept = default;
Phone& Phone::operator=(Phone&& other) noexcept = default;

Answer Phone::connect() {
    vdiag::Failure failure;
    return vdiag::session_open(&state_->session, &failure) ? Answer() : failed(failure);
}

Answer Phone::request(const std::string& command, const std::vector<Argument>& arguments) {
    vdiag::Invocation invocation;
    for (const std::string_view word : vdiag::split(command, ' ')) {
        invocation.words.emplace_back(word);
    }
    vdiag::Failure failure{vdiag::kExitUsage, ""};
    const vdiag::Command* row = vdiag::command_of_words(invocation.words);
    vdiag::Answer answer;
    if (row == nullptr) {
        failure.text = "no command '" + command + "'";
        return failed(failure);
    }
    if (!vdiag::typed_words(row, arguments, &invocation.words, &failure.text) ||
        !vdiag::perform(&state_->session, invocation, &answer, &failure)) {
        return failed(failure);
    }
    return answer_of(answer);
}

Answer Phone::raw(const Bytes& packet) {
    vdiag::Failure failure;
    vdiag::Answer answer;
    return vdiag::exchange(&state_->session, packet, nullptr, &answer, &failure) ? answer_of(answer) : failed(failure);
}

void Phone::close() { link_close(&state_->session.link); }

const char* version() { return version_text(); }

}  // namespace libvdiag
