/** Node maps: how a camera's features are found, read and written by name.
 *
 *  A node map holds one node per feature. A node offers exactly one interface: integer, float,
 *  enumeration, boolean, string or command. Nodes belong to the camera and stay valid until it is
 *  closed.
 *
 *  Threads: every call may come from any thread; calls on one camera exclude each other, and thread
 *  cancellation is deferred until the call in progress returns.
 *
 *  Errors are exceptions (below). Verified writes check access mode, range and increment before the
 *  camera is touched. Reading a node that is neither RO nor RW raises AccessException. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#define GEVPLAT_API __attribute__((visibility("default")))

namespace GenICam_3_0
{

/** A text that needs no heap memory up to 63 characters. Always terminated. */
class gcstring
{
public:
    static constexpr std::size_t kInlineChars = 63;

    gcstring() noexcept { inline_[0] = '\0'; }
    gcstring(const char* text) : gcstring(std::string_view(text == nullptr ? "" : text)) {}
    gcstring(std::string_view text) { assign(text); }
    gcstring(const gcstring& other) { assign(other.view()); }
    gcstring(gcstring&& other) noexcept : heap_(std::move(other.heap_)), size_(other.size_)
    {
        copyInline(other.inline_);
        other.clear();
    }
    gcstring& operator=(const gcstring& other)
    {
        if (this != &other) {
            assign(other.view());
        }
        return *this;
    }
    gcstring& operator=(gcstring&& other) noexcept
    {
        if (this != &other) {
            heap_ = std::move(other.heap_);
            size_ = other.size_;
            copyInline(other.inline_);
            other.clear();
        }
        return *this;
    }
    ~gcstring() = default;

    const char* c_str() const noexcept { return isInline() ? inline_ : heap_.c_str(); }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    std::string_view view() const noexcept { return {c_str(), size_}; }

    friend bool operator==(const gcstring& a, const gcstring& b) noexcept
    {
        return a.view() == b.view();
    }
    friend bool operator==(const gcstring& a, const char* b) noexcept { return a.view() == b; }

private:
    bool isInline() const noexcept { return size_ <= kInlineChars; }
    void clear() noexcept
    {
        size_ = 0;
        inline_[0] = '\0';
        heap_.clear();
    }
    void copyInline(const char* text) noexcept
    {
        if (isInline()) {
            std::memcpy(inline_, text, size_);
            inline_[size_] = '\0';
        }
    }
    void assign(std::string_view text)
    {
        if (text.size() > kInlineChars) {
            heap_.assign(text);
        }
        size_ = text.size();
        copyInline(text.data());
    }

    char inline_[kInlineChars + 1];
    std::string heap_; // used only above 63 characters
    std::size_t size_ = 0;
};

/** Root of all node-map exceptions; never thrown itself. */
class GEVPLAT_API GenericException : public std::exception
{
public:
    explicit GenericException(std::string description) : description_(std::move(description)) {}
    ~GenericException() override;

    /** What happened, with the feature, value and limits where they apply. */
    const char* GetDescription() const noexcept { return description_.c_str(); }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    std::string description_;
};

/** The eight exception classes are siblings: none derives from another, so the order of handlers
 *  doesn't matter. */
#define GEVPLAT_EXCEPTION(Kind)                                                                    \
    class GEVPLAT_API Kind : public GenericException                                               \
    {                                                                                              \
    public:                                                                                        \
        using GenericException::GenericException;                                                  \
        ~Kind() override;                                                                          \
    }

GEVPLAT_EXCEPTION(InvalidArgumentException); ///< an enumeration has no such entry
GEVPLAT_EXCEPTION(PropertyException);        ///< the node's description is faulty
GEVPLAT_EXCEPTION(LogicalErrorException);    ///< a missing node was dereferenced
GEVPLAT_EXCEPTION(OutOfRangeException);      ///< outside minimum, maximum or increment
GEVPLAT_EXCEPTION(RuntimeException);         ///< the camera failed the access
GEVPLAT_EXCEPTION(AccessException);          ///< not readable or not writable right now
GEVPLAT_EXCEPTION(TimeoutException);         ///< the camera did not answer
GEVPLAT_EXCEPTION(DynamicCastException);     ///< the node has another interface
#undef GEVPLAT_EXCEPTION

} // namespace GenICam_3_0

namespace GenApi_3_0
{

using GenICam_3_0::gcstring;

/** Not implemented, not available now, write only, read only, read and write. */
enum EAccessMode { NI, NA, WO, RO, RW };

inline bool IsReadable(EAccessMode mode)
{
    return mode == RO || mode == RW;
}
inline bool IsWritable(EAccessMode mode)
{
    return mode == WO || mode == RW;
}
inline bool IsImplemented(EAccessMode mode)
{
    return mode != NI;
}

class IInteger;
class IFloat;
class IEnumeration;
class IBoolean;
class IString;
class ICommand;

/** What every node has. At most one of the As...() results is not null. */
class GEVPLAT_API INode
{
public:
    virtual ~INode();
    virtual const char* GetName() const = 0;
    virtual EAccessMode GetAccessMode() const = 0;
    /** Physical unit such as "us" or "dB"; empty when there is none. */
    virtual const char* GetUnit() const { return ""; }
    virtual IInteger* AsInteger() { return nullptr; }
    virtual IFloat* AsFloat() { return nullptr; }
    virtual IEnumeration* AsEnumeration() { return nullptr; }
    virtual IBoolean* AsBoolean() { return nullptr; }
    virtual IString* AsString() { return nullptr; }
    virtual ICommand* AsCommand() { return nullptr; }
    /** The integers and enumerations whose values select the value that this node shows, in the
     *  order in which they have to be set; null beyond the last. */
    virtual INode* GetSelector(std::size_t index)
    {
        static_cast<void>(index);
        return nullptr;
    }
};

class GEVPLAT_API IInteger : public INode
{
public:
    ~IInteger() override;
    virtual std::int64_t GetValue(bool verify = false, bool ignoreCache = false) = 0;
    virtual void SetValue(std::int64_t value, bool verify = true) = 0;
    virtual std::int64_t GetMin() = 0;
    virtual std::int64_t GetMax() = 0;
    virtual std::int64_t GetInc() = 0;
    IInteger* AsInteger() final { return this; }
};

class GEVPLAT_API IFloat : public INode
{
public:
    ~IFloat() override;
    virtual double GetValue(bool verify = false, bool ignoreCache = false) = 0;
    /** A verified write takes a value that exceeds a limit by less than a millionth of that limit
     *  as the limit, so that a limit stays valid after a conversion to float and back. */
    virtual void SetValue(double value, bool verify = true) = 0;
    virtual double GetMin() = 0;
    virtual double GetMax() = 0;
    IFloat* AsFloat() final { return this; }
};

class GEVPLAT_API IBoolean : public INode
{
public:
    ~IBoolean() override;
    virtual bool GetValue(bool verify = false, bool ignoreCache = false) = 0;
    virtual void SetValue(bool value, bool verify = true) = 0;
    IBoolean* AsBoolean() final { return this; }
};

class GEVPLAT_API IString : public INode
{
public:
    ~IString() override;
    virtual gcstring GetValue(bool verify = false, bool ignoreCache = false) = 0;
    /** Longer than GetMaxLength: OutOfRangeException. */
    virtual void SetValue(const gcstring& value, bool verify = true) = 0;
    virtual std::int64_t GetMaxLength() = 0; ///< bytes
    IString* AsString() final { return this; }
};

class GEVPLAT_API ICommand : public INode
{
public:
    ~ICommand() override;
    /** Has the camera begin the command; its access mode is WO or RW. */
    virtual void Execute(bool verify = true) = 0;
    /** Whether the camera has finished the command that was executed last. */
    virtual bool IsDone(bool verify = true) = 0;
    ICommand* AsCommand() final { return this; }
};

/** One entry of an enumeration. */
class GEVPLAT_API IEnumEntry
{
public:
    virtual ~IEnumEntry();
    virtual const char* GetSymbolic() const = 0;
    virtual std::int64_t GetNumericValue() const = 0;
    virtual EAccessMode GetAccessMode() const = 0;
};

class GEVPLAT_API IEnumeration : public INode
{
public:
    ~IEnumeration() override;
    virtual gcstring ToString(bool verify = false, bool ignoreCache = false) = 0;
    /** Selects an entry by its symbolic name. Unknown: InvalidArgumentException. */
    virtual void FromString(const gcstring& symbolic, bool verify = true) = 0;
    virtual std::int64_t GetIntValue(bool verify = false, bool ignoreCache = false) = 0;
    virtual void SetIntValue(std::int64_t value, bool verify = true) = 0;
    /** Null when there is no such entry. Entries that are not implemented are found. */
    virtual IEnumEntry* GetEntryByName(const gcstring& symbolic) = 0;
    virtual std::size_t GetEntryCount() = 0;
    virtual IEnumEntry* GetEntry(std::size_t index) = 0;
    IEnumeration* AsEnumeration() final { return this; }
};

class GEVPLAT_API INodeMap
{
public:
    virtual ~INodeMap();
    /** Null when there is no such feature. O(1), no allocation for names up to 63 characters. */
    virtual INode* GetNode(const gcstring& name) = 0;
    virtual std::size_t GetNodeCount() = 0;
    /** Nodes in the order in which the camera describes them; null beyond the last. */
    virtual INode* GetNodeAt(std::size_t index) = 0;
};

/** Refers to a camera's node map, or to none. */
class GEVPLAT_API CNodeMapRef
{
public:
    explicit CNodeMapRef(INodeMap* map = nullptr) : map_(map) {}
    bool IsValid() const { return map_ != nullptr; }
    /** Without a map: AccessException "Feature not present (reference not valid)". */
    INode* GetNode(const gcstring& name) const;
    std::size_t GetNodeCount() const { return map_ == nullptr ? 0 : map_->GetNodeCount(); }
    INode* GetNodeAt(std::size_t i) const { return map_ == nullptr ? nullptr : map_->GetNodeAt(i); }

private:
    INodeMap* map_;
};

/** Raises LogicalErrorException "NULL pointer dereferenced". */
[[noreturn]] GEVPLAT_API void ThrowNullPointer();

/** A node seen through one interface; null when the node is missing or has another interface.
 *  Dereferencing null raises LogicalErrorException "NULL pointer dereferenced". */
template <class Interface> class CPointer
{
public:
    CPointer() = default;
    CPointer(INode* node) : node_(cast(node)) {}
    bool IsValid() const { return node_ != nullptr; }
    explicit operator bool() const { return IsValid(); }
    Interface* operator->() const
    {
        if (node_ == nullptr) {
            ThrowNullPointer();
        }
        return node_;
    }

private:
    static Interface* cast(INode* node)
    {
        if (node == nullptr) {
            return nullptr;
        }
        if constexpr (std::is_same_v<Interface, IInteger>) {
            return node->AsInteger();
        } else if constexpr (std::is_same_v<Interface, IFloat>) {
            return node->AsFloat();
        } else if constexpr (std::is_same_v<Interface, IEnumeration>) {
            return node->AsEnumeration();
        } else if constexpr (std::is_same_v<Interface, IBoolean>) {
            return node->AsBoolean();
        } else if constexpr (std::is_same_v<Interface, IString>) {
            return node->AsString();
        } else {
            return node->AsCommand();
        }
    }
    Interface* node_ = nullptr;
};

using CIntegerPtr = CPointer<IInteger>;
using CFloatPtr = CPointer<IFloat>;
using CEnumerationPtr = CPointer<IEnumeration>;
using CBooleanPtr = CPointer<IBoolean>;
using CStringPtr = CPointer<IString>;
using CCommandPtr = CPointer<ICommand>;

} // namespace GenApi_3_0

namespace GenICam = GenICam_3_0;
namespace GenApi = GenApi_3_0;
