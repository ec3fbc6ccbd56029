// The result type of file, directory and transaction operations. Success is a null pointer and costs nothing. An error
// whose details found no memory is kept in the pointer itself: an odd value that packs code and number, so that an
// error never turns into success, nor into another error, for want of memory.
#include "hostkit/errors.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "hostkit/format_text.h"

struct CXoError::Detail {
    struct passed {
        FXCodeLocation location;
        std::string text;
    };
    unsigned code = 0;
    int number = 0;
    std::string text;
    std::vector<passed> trail;
};

namespace {

static_assert(sizeof(std::uintptr_t) >= sizeof(std::uint64_t), "a packed error needs 49 bits");
static_assert(alignof(CXoError::Detail) >= 2, "the lowest bit tells packed errors apart");

CXoError::Detail* pack(unsigned code, int number) noexcept {
    const auto kept = static_cast<std::uint16_t>(number > std::numeric_limits<std::uint16_t>::max() ? EIO : number);
    const std::uintptr_t bits = (std::uintptr_t{code} << 17) | (std::uintptr_t{kept} << 1) | 1U;
    return reinterpret_cast<CXoError::Detail*>(bits);  // NOLINT(performance-no-int-to-ptr): never dereferenced
}

bool is_packed(const CXoError::Detail* detail) noexcept {
    return (reinterpret_cast<std::uintptr_t>(detail) & 1U) != 0;
}

unsigned code_of(const CXoError::Detail* detail) noexcept {
    return is_packed(detail) ? static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(detail) >> 17) : detail->code;
}

int number_of(const CXoError::Detail* detail) noexcept {
    return is_packed(detail) ? static_cast<int>((reinterpret_cast<std::uintptr_t>(detail) >> 1) & 0xFFFFU)
                             : detail->number;
}

CXoError::Detail* copy_of(const CXoError::Detail* detail) noexcept {
    if (detail == nullptr) return nullptr;
    if (is_packed(detail)) return pack(code_of(detail), number_of(detail));
    try {
        return new CXoError::Detail(*detail);
    } catch (const std::bad_alloc&) {
        return pack(detail->code, detail->number);
    }
}

void dispose(CXoError::Detail* detail) noexcept {
    if (detail != nullptr && !is_packed(detail)) delete detail;
}

template <class MakeText>
CXoError make_error(unsigned code, int number, MakeText make_text) noexcept {
    if (number <= 0) number = EIO;
    CXoError::Detail* detail = new (std::nothrow) CXoError::Detail{code, number, {}, {}};
    if (detail == nullptr) return CXoError(pack(code, number));
    try {
        detail->text = make_text(number);
    } catch (const std::bad_alloc&) {
        detail->text.clear();
    }
    return CXoError(detail);
}

std::string system_text(int number) {
    char buffer[128];
    return strerror_r(number, buffer, sizeof buffer);
}

std::string plain_text(const CXoError::Detail* detail) {
    if (detail == nullptr) return "Success";
    if (is_packed(detail) || detail->text.empty()) return system_text(number_of(detail));
    return detail->text;
}

std::string full_text(const CXoError::Detail* detail) {
    std::string text = plain_text(detail);
    if (detail == nullptr) return text;
    text += " [" + std::to_string(number_of(detail));
    if (code_of(detail) != 0) text += ", code " + std::to_string(code_of(detail));
    text += ']';
    if (is_packed(detail)) return text;
    for (const auto& [location, note] : detail->trail) {
        text += "; at ";
        text += location.function;
        text += " (" + std::string(location.file) + ':' + std::to_string(location.line) + ')';
        if (!note.empty()) text += ": " + note;
    }
    return text;
}

}  // namespace

CXoError::CXoError(const CXoError& other) noexcept : detail_(copy_of(other.detail_)) {}

CXoError::CXoError(CXoError&& other) noexcept : detail_(std::exchange(other.detail_, nullptr)) {}

CXoError& CXoError::operator=(const CXoError& other) noexcept {
    if (this != &other) {
        dispose(detail_);
        detail_ = copy_of(other.detail_);
    }
    return *this;
}

CXoError& CXoError::operator=(CXoError&& other) noexcept {
    if (this != &other) {
        dispose(detail_);
        detail_ = std::exchange(other.detail_, nullptr);
    }
    return *this;
}

CXoError::~CXoError() {
    dispose(detail_);
}

std::string CXoError::AsString() const {
    return AsString(EErrorOutputFormat::Text);
}

std::string CXoError::AsString(EErrorOutputFormat format) const {
    try {
        switch (format) {
            case EErrorOutputFormat::Number:
                return std::to_string(detail_ == nullptr ? 0 : number_of(detail_));
            case EErrorOutputFormat::Text:
                return plain_text(detail_);
            case EErrorOutputFormat::Full:
                break;
        }
        return full_text(detail_);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void CXoError::Push(const FXCodeLocation& location) noexcept {
    if (detail_ == nullptr || is_packed(detail_)) return;
    try {
        detail_->trail.push_back({location, {}});
    } catch (const std::bad_alloc&) {
        return;  // a place less in the trail; the error itself stands
    }
}

void CXoError::Push(const FXCodeLocation& location, const char* format, ...) noexcept {
    if (detail_ == nullptr || is_packed(detail_)) return;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        detail_->trail.push_back({location, hostkit::format_text(format, arguments)});
    } catch (const std::bad_alloc&) {
        Push(location);
    }
    va_end(arguments);
}

CXoError FXErrorUtil::ErrorErrNo(int error_number, const char* text) noexcept {
    return make_error(0, error_number, [text](int number) {
        return text == nullptr ? system_text(number) : text + (": " + system_text(number));
    });
}

int FXErrorUtil::GetErrNo(const CXoError& error) noexcept {
    return error.IsError() ? number_of(error.detail()) : 0;
}

bool FXErrorUtil::IsZYResult(const CXoError& error, unsigned int code) noexcept {
    return error.IsError() && code != 0 && code_of(error.detail()) == code;
}

CXoError hostkit::make_service_error(unsigned code, int error_number, const std::string& text) noexcept {
    return make_error(code, error_number, [&text](int) { return text; });
}
