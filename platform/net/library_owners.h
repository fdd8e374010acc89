/** Owners for what the network library hands out, and a guard for its calls. */
#pragma once

#include <arv.h>

#include <csignal>
#include <memory>
#include <string>

namespace net
{

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class Type> using Ref = std::unique_ptr<Type, Unref>;

/** Takes an error of the library; freed with this object. */
class ErrorSlot
{
public:
    ErrorSlot() = default;
    ~ErrorSlot() { g_clear_error(&error_); }
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;

    /** For one call of the library. */
    GError** Out()
    {
        g_clear_error(&error_);
        return &error_;
    }
    explicit operator bool() const { return error_ != nullptr; }
    const GError* Get() const { return error_; }
    std::string Text() const { return error_ == nullptr ? std::string() : error_->message; }

private:
    GError* error_ = nullptr;
};

} // namespace net
