// The host's result type for operations on files, directories and transactions, and the helpers around it.
#pragma once

#include <string>

#include "host/visibility.h"

/// Selects how much of an error its text shows. The library passes the value 2 only.
enum class EErrorOutputFormat : int { Number = 0, Text = 1, Full = 2 };

/// One place in the source that an error passed through. The texts are literals and are not owned.
struct FXCodeLocation {
    const char* file;
    const char* function;
    int line;
};

/// The location of the statement that uses it.
#define FX_CODE_LOCATION                        \
    FXCodeLocation {                            \
        __FILE__, __PRETTY_FUNCTION__, __LINE__ \
    }

/// Success, or an error with a number, a text and the code locations pushed so far. A value: copies are
/// independent. Success allocates nothing. No operation throws; where memory is missing, text is lost and the
/// error itself is kept. One object belongs to one thread at a time.
class IIF_HOST_API CXoError {
public:
    CXoError() noexcept = default;
    CXoError(const CXoError& other) noexcept;
    CXoError(CXoError&& other) noexcept;
    CXoError& operator=(const CXoError& other) noexcept;
    CXoError& operator=(CXoError&& other) noexcept;
    ~CXoError();

    /// The value that stands for no error.
    static CXoError Success() noexcept { return {}; }

    /// True when this stands for a failure. Decide on this and never on a number.
    bool IsError() const noexcept { return detail_ != nullptr; }

    /// The plain text, "Success" when there is no error.
    std::string AsString() const;

    /// The text in one of the output formats. Full adds the number and the pushed locations.
    std::string AsString(EErrorOutputFormat format) const;

    /// Adds a location; on success it does nothing.
    void Push(const FXCodeLocation& location) noexcept;

    /// Adds a location and a printf-formatted text; on success it does nothing.
    void Push(const FXCodeLocation& location, const char* format, ...) noexcept __attribute__((format(printf, 3, 4)));

    /// What an error holds; known to the implementation alone.
    struct Detail;
    explicit CXoError(Detail* detail) noexcept : detail_(detail) {}
    const Detail* detail() const noexcept { return detail_; }

private:
    Detail* detail_ = nullptr;
};

/// Makes errors from errno values and reads them back.
class IIF_HOST_API FXErrorUtil {
public:
    /// An error for `error_number`, with `text` in front of the system's own text when it is not null.
    static CXoError ErrorErrNo(int error_number, const char* text = nullptr) noexcept;

    /// The errno value of an error; 0 for success. An error that came from no errno value gives a non-zero one.
    static int GetErrNo(const CXoError& error) noexcept;

    /// True when the error carries the host's own result code `code`.
    static bool IsZYResult(const CXoError& error, unsigned int code) noexcept;
};
