#include "base/text_error.h"

#include <fmt/format.h>

namespace base
{

std::string TextError::Message() const
{
    return line == 0 ? fmt::format("{}: {}", name, text)
                     : fmt::format("{}:{}:{}: {}", name, line, column, text);
}

} // namespace base
