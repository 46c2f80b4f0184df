// The failures the command line reports, each with the exit status it ends with.
#pragma once
#include <cstddef>
#include <stdexcept>
#include <string>

namespace fk::cli {

// Bad command-line input: options, expressions, bars files. Exit status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A problem inside one expression, at a byte position of its text. Exit status 2.
struct ExprError : std::runtime_error {
    ExprError(std::size_t position, const std::string& message) : std::runtime_error(message), pos(position) {}
    std::size_t pos;
    std::size_t expr = 0; // which expression of the command line, from 0
};

// An export answered with a non-zero status; the message is the whole line to print. Exit status 1.
struct ExportFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace fk::cli
