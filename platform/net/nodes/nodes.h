/** Nodes over the network library's features, one class per value interface.
 *
 *  Threads: the interfaces lock by themselves; members below "for the map" are called with the
 *  device's lock held. */
#pragma once

#include "net/nodes/feature.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace net
{

class FloatNode final : public GenApi_3_0::IFloat, public Feature
{
public:
    FloatNode(Device& device, ArvGcFeatureNode* node, Facts facts);

    const char* GetName() const override { return Name().c_str(); }
    const char* GetUnit() const override { return unit_.c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    double GetValue(bool verify, bool ignoreCache) override;
    void SetValue(double value, bool verify) override;
    double GetMin() override;
    double GetMax() override;

    // For the map.
    void SetFrameValue(double value);
    void ForgetFrameValue();

private:
    ArvGcFloat* Handle() const { return ARV_GC_FLOAT(node_); }
    std::optional<double> FrameValue() const;
    double Min() const { return Get<double>(min_); }
    double Max() const { return Get<double>(max_); }

    std::string unit_;
    ValueCache::Cell& value_;
    ValueCache::Cell& min_;
    ValueCache::Cell& max_;
    mutable std::mutex frameMutex_;    ///< of the next one; a leaf
    std::optional<double> frameValue_; ///< its value for the frame that was delivered last
};

/** The features whose frame values end when a selector moves. */
class Selected
{
public:
    /** It selects something, of any type. */
    void SetSelects() { selects_ = true; }
    bool Selects() const { return selects_; }
    void Add(FloatNode* feature) { features_.push_back(feature); }
    /** Before a write. Writing the selector's last value again ends no frame values. */
    void Writing(std::int64_t value);
    void Written(std::int64_t value) { last_ = value; }

private:
    bool selects_ = false;
    std::vector<FloatNode*> features_;
    std::optional<std::int64_t> last_; ///< written by us; unknown after a write that failed
};

class IntegerNode final : public GenApi_3_0::IInteger, public Feature
{
public:
    IntegerNode(Device& device, ArvGcFeatureNode* node, Facts facts);

    const char* GetName() const override { return Name().c_str(); }
    const char* GetUnit() const override { return unit_.c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    std::int64_t GetValue(bool verify, bool ignoreCache) override;
    void SetValue(std::int64_t value, bool verify) override;
    std::int64_t GetMin() override;
    std::int64_t GetMax() override;
    std::int64_t GetInc() override;

    // For the map.
    Selected& Selects() { return selected_; }
    /** Writes without any check, but raises TimeoutException when a value in the camera is to be
     *  written while the camera is gone. */
    void Force(std::int64_t value);

private:
    ArvGcInteger* Handle() const { return ARV_GC_INTEGER(node_); }
    std::int64_t Min() const { return Get<std::int64_t>(min_); }
    std::int64_t Max() const { return Get<std::int64_t>(max_); }
    std::int64_t Inc() const { return Get<std::int64_t>(inc_); }
    void Write(std::int64_t value);

    std::string unit_;
    ValueCache::Cell& value_;
    ValueCache::Cell& min_;
    ValueCache::Cell& max_;
    ValueCache::Cell& inc_;
    Selected selected_;
};

class BooleanNode final : public GenApi_3_0::IBoolean, public Feature
{
public:
    BooleanNode(Device& device, ArvGcFeatureNode* node, Facts facts);

    const char* GetName() const override { return Name().c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    bool GetValue(bool verify, bool ignoreCache) override;
    void SetValue(bool value, bool verify) override;

private:
    ArvGcBoolean* Handle() const { return ARV_GC_BOOLEAN(node_); }

    ValueCache::Cell& value_;
};

class StringNode final : public GenApi_3_0::IString, public Feature
{
public:
    StringNode(Device& device, ArvGcFeatureNode* node, Facts facts);

    const char* GetName() const override { return Name().c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    GenApi_3_0::gcstring GetValue(bool verify, bool ignoreCache) override;
    void SetValue(const GenApi_3_0::gcstring& value, bool verify) override;
    std::int64_t GetMaxLength() override;

private:
    ArvGcString* Handle() const { return ARV_GC_STRING(node_); }
    std::int64_t MaxLength() const;

    ValueCache::Cell& value_;
};

class CommandNode final : public GenApi_3_0::ICommand, public Feature
{
public:
    CommandNode(Device& device, ArvGcFeatureNode* node, Facts facts);

    const char* GetName() const override { return Name().c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    void Execute(bool verify) override;
    /** The camera has overwritten the value that started the command. A command that can only be
     *  written counts as done. */
    bool IsDone(bool verify) override;

private:
    ArvGcInteger* store_ = nullptr;         ///< keeps the value, where it can be read
    ArvGcPropertyNode* starting_ = nullptr; ///< gives the value that starts the command
};

class EnumerationNode final : public GenApi_3_0::IEnumeration, public Feature
{
public:
    /** `description` is asked for the entries, now. */
    EnumerationNode(Device& device, ArvGcFeatureNode* node, Facts facts, Description& description);
    ~EnumerationNode() override;

    const char* GetName() const override { return Name().c_str(); }
    GenApi_3_0::EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    GenApi_3_0::gcstring ToString(bool verify, bool ignoreCache) override;
    void FromString(const GenApi_3_0::gcstring& symbolic, bool verify) override;
    std::int64_t GetIntValue(bool verify, bool ignoreCache) override;
    void SetIntValue(std::int64_t value, bool verify) override;
    GenApi_3_0::IEnumEntry* GetEntryByName(const GenApi_3_0::gcstring& symbolic) override;
    std::size_t GetEntryCount() override { return entries_.size(); }
    GenApi_3_0::IEnumEntry* GetEntry(std::size_t index) override;

    // For the map.
    Selected& Selects() { return selected_; }

private:
    class Entry;
    ArvGcEnumeration* Handle() const { return ARV_GC_ENUMERATION(node_); }
    std::int64_t Read(bool ignoreCache) const;
    /** `entry` is null for one that does not exist; `valueText` gives what was asked for. */
    template <class ValueText>
    void Write(const Entry* entry, const ValueText& valueText, bool verify);
    template <class ValueText> void Write(const Entry& entry, const ValueText& valueText);
    const Entry* Find(std::string_view symbolic) const;
    const Entry* Find(std::int64_t value) const;

    std::vector<std::unique_ptr<Entry>> entries_;
    ArvGcInteger* store_ = nullptr; ///< where the value lies, when it is elsewhere
    ValueCache::Cell& value_;
    Selected selected_;
};

} // namespace net
