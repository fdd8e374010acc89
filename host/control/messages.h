/** The messages of the control socket: JSON-RPC 2.0, one message on each line. Pure. */
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kvgrab
{

/** Codes of errors; docs/control.md explains them. */
enum class RpcCode : int {
    ParseError = -32700,
    InvalidRequest = -32600,
    UnknownMethod = -32601,
    InvalidParams = -32602,
    InternalError = -32603,
    NoCamera = 1,
    Refused = 2,
    CameraFailed = 3,
    Busy = 4,
    NotWritten = 5,
};

/** Why a request fails; thrown by methods. */
struct RpcFailure {
    RpcCode code;
    std::string message;      ///< a sentence without a full stop
    nlohmann::json data = {}; ///< null: none
};

struct RpcRequest {
    std::optional<nlohmann::json> id; ///< none: a notification, which gets no answer
    std::string method;
    nlohmann::json params; ///< an object or an array
};

/** The request on a line, or the line that refuses it. */
std::variant<RpcRequest, std::string> ParseRequest(std::string_view line);

/** Lines, with the line feed. Bytes that are no UTF-8 are replaced. */
std::string ResultLine(const nlohmann::json& id, const nlohmann::json& result);
std::string ErrorLine(const nlohmann::json& id, const RpcFailure& failure);
std::string NotificationLine(std::string_view method, const nlohmann::json& params);
std::string RequestLine(std::string_view method, const nlohmann::json& params);

} // namespace kvgrab
