#include "control/messages.h"

#include <fmt/format.h>

namespace kvgrab
{

using nlohmann::json;

namespace
{

constexpr const char* kVersion = "2.0";

std::string LineOf(const json& message)
{
    return fmt::format("{}\n", message.dump(-1, ' ', false, json::error_handler_t::replace));
}

} // namespace

std::variant<RpcRequest, std::string> ParseRequest(std::string_view line)
{
    const auto refuse = [](const json& id, const char* why) {
        return ErrorLine(id, {RpcCode::InvalidRequest, why});
    };
    const json message = json::parse(line, nullptr, false);
    if (message.is_discarded()) {
        return ErrorLine(nullptr, {RpcCode::ParseError, "the line is no JSON"});
    }
    if (message.is_array()) {
        return refuse(nullptr, "several requests in one message are not taken; send each on a "
                               "line of its own");
    }
    if (!message.is_object()) {
        return refuse(nullptr, "a request is an object with the members jsonrpc, method and id");
    }
    RpcRequest request;
    if (const auto id = message.find("id"); id != message.end()) {
        if (!id->is_string() && !id->is_number() && !id->is_null()) {
            return refuse(nullptr, "id is a text or a number");
        }
        request.id = *id;
    }
    const json id = request.id.value_or(nullptr);
    if (message.value("jsonrpc", json()) != kVersion) {
        return refuse(id, "jsonrpc is \"2.0\" in each request");
    }
    const auto method = message.find("method");
    if (method == message.end() || !method->is_string()) {
        return refuse(id, "method is the name of what is asked for");
    }
    request.method = *method;
    request.params = message.value("params", json::object());
    if (!request.params.is_structured()) {
        return refuse(id, "params is an object or an array");
    }
    return request;
}

std::string ResultLine(const json& id, const json& result)
{
    return LineOf({{"jsonrpc", kVersion}, {"id", id}, {"result", result}});
}

std::string ErrorLine(const json& id, const RpcFailure& failure)
{
    json error = {{"code", static_cast<int>(failure.code)}, {"message", failure.message}};
    if (!failure.data.is_null()) {
        error["data"] = failure.data;
    }
    return LineOf({{"jsonrpc", kVersion}, {"id", id}, {"error", error}});
}

std::string NotificationLine(std::string_view method, const json& params)
{
    return LineOf({{"jsonrpc", kVersion}, {"method", method}, {"params", params}});
}

std::string RequestLine(std::string_view method, const json& params)
{
    return LineOf({{"jsonrpc", kVersion}, {"id", 1}, {"method", method}, {"params", params}});
}

} // namespace kvgrab
