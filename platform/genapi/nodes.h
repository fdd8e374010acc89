/** Nodes whose values are in memory: range, increment, access mode, verification and selectors.
 *
 *  A selected feature has one cell for every combination of its selectors' positions; an access
 *  goes to the cell of the present positions. Limits and access mode may depend on other features:
 *  they are functions that each access calls.
 *
 *  A verified write is checked before the camera is reached and raises AccessException,
 *  OutOfRangeException or InvalidArgumentException. An unverified one reaches the camera, which
 *  refuses it with a RuntimeException.
 *
 *  Threads: the interfaces lock by themselves (AccessHook). Members below "Inside the camera" are
 *  for code that holds the camera's lock, or that builds the camera. */
#pragma once

#include "gen_api.h"
#include "genapi/access_hook.h"
#include "genapi/access_rules.h"

#include <any>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace genapi
{

using GenApi_3_0::gcstring;

class Feature;

/** A feature whose value selects the cell of other features. */
class Selector
{
public:
    virtual ~Selector() = default;
    std::size_t Position() const { return held_ ? *held_ : OwnPosition(); }
    virtual std::size_t Positions() const = 0;
    virtual Feature& AsFeature() = 0;
    /** Selects this position, whatever the feature's value, until it is let go (nullopt). */
    void Hold(std::optional<std::size_t> position) { held_ = position; }

protected:
    virtual std::size_t OwnPosition() const = 0;

private:
    std::optional<std::size_t> held_;
};

/** What a client may keep of a value: what it wrote or read, only what it read, or nothing. */
enum class Caching { WriteThrough, WriteAround, NoCache };

/** In NodeSpec::changes: any feature. */
inline constexpr const char* kEveryFeature = "*";

/** The description that all types of nodes have in common. */
struct NodeSpec {
    std::string name = {};
    std::string unit = {};
    EAccessMode mode = GenApi_3_0::RW;
    // Of a feature whose mode is RW or WO; null: always, never. They depend on other features or on
    // streaming.
    std::function<bool()> available = nullptr;
    std::function<bool()> locked = nullptr; ///< read-only, if it is available
    std::vector<Selector*> selectedBy = {};
    Caching caching = Caching::WriteThrough; ///< also of its limits
    unsigned pollingMs = 0; ///< of a value that changes by itself: how often to read it; 0: any
    /** The features whose value, limits or access mode a write of this one may change. Those that
     *  can't be cached need not be listed, nor other cells of what this one selects. */
    std::vector<std::string> changes = {};
    std::function<void()> written = nullptr; ///< side effects of a write inside the camera; what a
                                             ///  command does
    std::string category = {};
};

/** Limits that a number reports and enforces in place of its own, for cameras that report nonsense:
 *  the limits may have any order and size. */
struct ReportedRange {
    double min = 0;
    double max = 0;
    std::int64_t inc = 1;
};

/** A node as its camera sees it, whatever its interface. */
class Feature
{
public:
    Feature(AccessHook& hook, NodeSpec spec);
    virtual ~Feature();
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;

    const std::string& Name() const { return spec_.name; }
    const NodeSpec& Spec() const { return spec_; }

    // Inside the camera.
    virtual GenApi_3_0::INode* Node() = 0;
    /** The present value as text: decimal, shortest round trip, symbolic name, true or false. */
    virtual std::string Text() const = 0;
    /** Sets the value without checking limits and modes. False when the text is not a value of this
     *  feature. */
    virtual bool SetText(std::string_view text) = 0;
    void SetMode(EAccessMode mode) { spec_.mode = mode; }
    /** Decides which selectors GetSelector shows: those for which `shows` returns true, each behind
     *  its own selectors. Before it is called there are none. */
    void ShowSelectors(const std::function<bool(Feature&)>& shows);
    /** No effect on features that are not numbers. */
    void Report(const ReportedRange& range) { reported_ = range; }
    EAccessMode Mode() const;
    /** Of a number whose maximum depends on other features. */
    virtual bool HasMovingMax() const { return false; }
    /** Whatever other features are set to. */
    EAccessMode UsualMode() const { return spec_.mode; }
    /** The values of all cells, for Restore of the same feature. */
    virtual std::any Cells() const { return {}; }
    virtual void Restore(const std::any& cells) { static_cast<void>(cells); }

protected:
    std::size_t CellCount() const;
    std::size_t CellIndex() const;
    EAccessMode AskMode() const;
    GenApi_3_0::INode* SelectorAt(std::size_t index) const
    {
        return index < selectors_.size() ? selectors_[index] : nullptr;
    }
    // Within an AccessScope of the caller.
    /** Start of every read of a value or limit. */
    void BeginRead();
    /** Start of every write; `valueText` and `violation` as in CheckWrite. */
    template <class ValueText, class Check>
    void BeginWrite(bool verify, const ValueText& valueText, const Check& violation)
    {
        hook_.Enter();
        CheckWrite({spec_.name, verify, Unverified::ReachesCamera}, Mode(), valueText, violation,
                   [&] { hook_.InjectFaults(injection::AccessKind::Write, spec_.name.c_str()); });
    }
    /** End of every write. */
    void Written();
    template <class Cells> void PutBack(const std::any& from, Cells* cells)
    {
        *cells = std::any_cast<const Cells&>(from);
        Written();
    }

    AccessHook& hook_;
    NodeSpec spec_;
    std::optional<ReportedRange> reported_;

private:
    std::vector<GenApi_3_0::INode*> selectors_;
};

class IntegerNode : public GenApi_3_0::IInteger, public Feature, public Selector
{
public:
    struct Limits {
        std::int64_t min = 0;
        std::int64_t max = std::numeric_limits<std::int64_t>::max();
        std::int64_t inc = 1;
        std::function<std::int64_t()> maxNow = nullptr; ///< in place of max
    };
    IntegerNode(AccessHook& hook, NodeSpec spec, Limits limits, std::int64_t value,
                std::function<std::int64_t()> computed = nullptr);

    const char* GetName() const override { return spec_.name.c_str(); }
    const char* GetUnit() const override { return spec_.unit.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    std::int64_t GetValue(bool verify, bool ignoreCache) override;
    void SetValue(std::int64_t value, bool verify) override;
    std::int64_t GetMin() override;
    std::int64_t GetMax() override;
    std::int64_t GetInc() override;

    // Inside the camera.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override;
    bool SetText(std::string_view text) override;
    std::any Cells() const override { return cells_; }
    void Restore(const std::any& cells) override { PutBack(cells, &cells_); }
    std::int64_t Value() const { return computed_ ? computed_() : cells_[CellIndex()]; }
    std::int64_t Min() const;
    std::int64_t Max() const;
    std::int64_t Inc() const { return reported_ ? reported_->inc : limits_.inc; }
    bool HasMovingMax() const override { return !reported_ && limits_.maxNow; }
    void Store(std::int64_t value) { cells_[CellIndex()] = value; }
    /** One cell, whatever the selectors' positions; the last selector's positions are adjacent. */
    std::int64_t At(std::size_t cell) const { return cells_[cell]; }
    void StoreAt(std::size_t cell, std::int64_t value) { cells_[cell] = value; }
    std::size_t OwnPosition() const override;
    std::size_t Positions() const override;
    Feature& AsFeature() override { return *this; }

private:
    Limits limits_;
    std::function<std::int64_t()> computed_;
    std::vector<std::int64_t> cells_;
};

class FloatNode : public GenApi_3_0::IFloat, public Feature
{
public:
    struct Limits {
        double min = 0;
        double max = 0;
        std::function<double()> maxNow = nullptr; ///< in place of max
    };
    /** `shown` converts the stored value into the value that a read returns. */
    FloatNode(AccessHook& hook, NodeSpec spec, Limits limits, double value,
              std::function<double(double)> shown = nullptr);

    const char* GetName() const override { return spec_.name.c_str(); }
    const char* GetUnit() const override { return spec_.unit.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    double GetValue(bool verify, bool ignoreCache) override;
    void SetValue(double value, bool verify) override;
    double GetMin() override;
    double GetMax() override;

    // Inside the camera.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override;
    bool SetText(std::string_view text) override;
    std::any Cells() const override { return cells_; }
    void Restore(const std::any& cells) override { PutBack(cells, &cells_); }
    double Value() const;
    /** The stored value of one cell, whatever the selectors' positions. */
    double At(std::size_t cell) const { return cells_[cell]; }
    void StoreAt(std::size_t cell, double value) { cells_[cell] = value; }
    double Min() const { return reported_ ? reported_->min : limits_.min; }
    double Max() const;
    bool HasMovingMax() const override { return !reported_ && limits_.maxNow; }

private:
    Limits limits_;
    std::function<double(double)> shown_;
    std::vector<double> cells_;
};

class BooleanNode : public GenApi_3_0::IBoolean, public Feature
{
public:
    BooleanNode(AccessHook& hook, NodeSpec spec, bool value);

    const char* GetName() const override { return spec_.name.c_str(); }
    const char* GetUnit() const override { return spec_.unit.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    bool GetValue(bool verify, bool ignoreCache) override;
    void SetValue(bool value, bool verify) override;

    // Inside the camera.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override;
    bool SetText(std::string_view text) override;
    std::any Cells() const override { return cells_; }
    void Restore(const std::any& cells) override { PutBack(cells, &cells_); }
    bool Value() const { return At(CellIndex()); }
    bool At(std::size_t cell) const { return cells_[cell] != 0; }

private:
    std::vector<char> cells_;
};

class StringNode : public GenApi_3_0::IString, public Feature
{
public:
    /** `maxLength` in bytes. */
    StringNode(AccessHook& hook, NodeSpec spec, std::int64_t maxLength, const std::string& value);

    const char* GetName() const override { return spec_.name.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    gcstring GetValue(bool verify, bool ignoreCache) override;
    void SetValue(const gcstring& value, bool verify) override;
    std::int64_t GetMaxLength() override;

    // Inside the camera.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override { return cells_[CellIndex()]; }
    /** A text that is too long is no value. */
    bool SetText(std::string_view text) override;
    std::int64_t MaxLength() const { return maxLength_; }
    std::any Cells() const override { return cells_; }
    void Restore(const std::any& cells) override { PutBack(cells, &cells_); }

private:
    std::int64_t maxLength_;
    std::vector<std::string> cells_;
};

/** Its `written` is what the command does. It is finished as soon as it is executed. */
class CommandNode : public GenApi_3_0::ICommand, public Feature
{
public:
    using Feature::Feature;

    const char* GetName() const override { return spec_.name.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    void Execute(bool verify) override;
    bool IsDone(bool verify) override;

    // Inside the camera. It has no value.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override { return ""; }
    bool SetText(std::string_view) override { return false; }
};

class EnumerationNode : public GenApi_3_0::IEnumeration, public Feature, public Selector
{
public:
    struct EntrySpec {
        std::string symbolic = {};
        std::int64_t value = 0;
        bool implemented = true;
        bool listed = true; ///< false: hidden from clients, but it keeps its cells
    };
    /** `refuses` returns true for values that the camera refuses although it lists them. */
    EnumerationNode(AccessHook& hook, NodeSpec spec, const std::vector<EntrySpec>& entries,
                    std::string_view value, std::function<bool(std::int64_t)> refuses = nullptr);
    ~EnumerationNode() override;

    const char* GetName() const override { return spec_.name.c_str(); }
    const char* GetUnit() const override { return spec_.unit.c_str(); }
    EAccessMode GetAccessMode() const override { return AskMode(); }
    GenApi_3_0::INode* GetSelector(std::size_t index) override { return SelectorAt(index); }
    gcstring ToString(bool verify, bool ignoreCache) override;
    void FromString(const gcstring& symbolic, bool verify) override;
    std::int64_t GetIntValue(bool verify, bool ignoreCache) override;
    void SetIntValue(std::int64_t value, bool verify) override;
    GenApi_3_0::IEnumEntry* GetEntryByName(const gcstring& symbolic) override;
    std::size_t GetEntryCount() override { return listed_.size(); }
    GenApi_3_0::IEnumEntry* GetEntry(std::size_t index) override;

    // Inside the camera.
    GenApi_3_0::INode* Node() override { return this; }
    std::string Text() const override { return std::string(Symbolic()); }
    bool SetText(std::string_view text) override;
    std::any Cells() const override { return cells_; }
    void Restore(const std::any& cells) override { PutBack(cells, &cells_); }
    std::int64_t Value() const;
    std::string_view Symbolic() const;
    std::string_view SymbolicAt(std::size_t cell) const;
    std::size_t OwnPosition() const override { return cells_[CellIndex()]; }
    std::size_t Positions() const override;
    Feature& AsFeature() override { return *this; }

private:
    class Entry;
    template <class ValueText>
    void Write(std::size_t entry, const ValueText& valueText, bool verify);
    /** Index of a listed entry, or the number of entries when there is none. */
    std::size_t Find(std::string_view symbolic) const;
    std::size_t Find(std::int64_t value) const;
    void ReadEntry();

    std::vector<std::unique_ptr<Entry>> entries_;
    std::vector<Entry*> listed_;
    std::function<bool(std::int64_t)> refuses_;
    std::vector<std::size_t> cells_; // entry indices
};

} // namespace genapi
