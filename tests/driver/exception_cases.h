/** What a camera may throw, and what a guarded operation makes of it. */
#pragma once

#include "sim_control.h"

#include <string>

namespace rig
{

struct ExceptionCase {
    const char* name;
    sim::ExceptionKind kind;
    const char* text;
    int status;

    /** The message for a scripted fault in this operation. */
    std::string Line(const std::string& origin) const
    {
        return kind == sim::ExceptionKind::Unknown
                   ? " " + std::string(text)
                   : " Origin " + origin + " - " + text + " scripted fault";
    }
};

using Kind = sim::ExceptionKind;
constexpr ExceptionCase kExceptionCases[] = {
    {"InvalidArgument", Kind::InvalidArgument, "GenApi: Invalid Argument Exception", -3},
    {"Property", Kind::Property, "GenApi: Property Exception", 0}, // counts as success
    {"LogicalError", Kind::LogicalError, "GenApi: Logical Error Exception", -14},
    {"OutOfRange", Kind::OutOfRange, "GenApi: OutOfRange Exception", -13},
    {"Runtime", Kind::Runtime, "GenApi: Runtime Exception", -1},
    {"Access", Kind::Access, "GenApi: Access Exception", -17},
    {"Timeout", Kind::Timeout, "GenApi: Timeout Exception", -6},
    {"DynamicCast", Kind::DynamicCast, "GenApi: DynamiceCast Exception", -2}, // spelt so
    {"Standard", Kind::Standard, "StdLib: Exception", -14},
    {"Unknown", Kind::Unknown, "GenApi: Unknown Error Exception (catchall)", -1},
};

} // namespace rig
