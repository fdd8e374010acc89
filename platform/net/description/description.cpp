#include "net/description/description.h"

#include "net/description/formula.h"
#include "net/library_owners.h"

#include <fmt/format.h>
#include <string_view>

namespace net
{

namespace
{

using GenApi_3_0::EAccessMode;

// The formulas of a real camera stay far below. Beyond these limits reading a value would overflow
// the stack or never end, so the feature is faulty, and so is every one that depends on it.
constexpr unsigned kMaxDepth = 100;
constexpr unsigned kMaxSteps = 10'000;
constexpr std::size_t kMostGates = 200;
constexpr std::int64_t kMaxNumberLength = 8; // of a register, in bytes
constexpr std::int64_t kMaxTextLength = 4096;

ArvGcPropertyNodeType TypeOf(ArvDomNode* node)
{
    return ARV_IS_GC_PROPERTY_NODE(node)
               ? arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(node))
               : ARV_GC_PROPERTY_NODE_TYPE_UNKNOWN;
}

ArvGcNode* Target(ArvDomNode* link)
{
    return arv_gc_property_node_get_linked_node(ARV_GC_PROPERTY_NODE(link));
}

bool IsNumber(ArvGcNode* node)
{
    return ARV_IS_GC_INTEGER(node) || ARV_IS_GC_FLOAT(node);
}

EAccessMode ModeOf(ArvGcFeatureNode* node)
{
    switch (arv_gc_feature_node_get_actual_access_mode(node)) {
    case ARV_GC_ACCESS_MODE_RO:
        return GenApi_3_0::RO;
    case ARV_GC_ACCESS_MODE_WO:
        return GenApi_3_0::WO;
    default:
        return GenApi_3_0::RW;
    }
}

bool IsText(ArvGcNode* node)
{
    return ARV_IS_GC_STRING(node) && !ARV_IS_GC_ENUMERATION(node);
}

bool HasEntry(ArvGcNode* enumeration)
{
    bool found = false;
    ForEachChild(enumeration, [&](ArvDomNode* child) {
        found = found || (ARV_IS_GC_ENUM_ENTRY(child) && HasValue(ARV_GC_ENUM_ENTRY(child)));
    });
    return found;
}

} // namespace

/** The parts of an element. */
struct Description::Parts {
    bool value = false;
    bool command = false;
    bool address = false;
    bool formula = false;
    std::vector<std::string> formulas;
    std::vector<FormulaName> names; ///< that the formulas may use
    ArvGcPropertyNode* length = nullptr;
    ArvDomNode* port = nullptr;
};

bool HasValue(ArvGcEnumEntry* entry)
{
    bool found = false;
    ForEachChild(entry, [&](ArvDomNode* child) {
        found = found || TypeOf(child) == ARV_GC_PROPERTY_NODE_TYPE_VALUE;
    });
    return found;
}

std::string NameAttribute(ArvDomNode* element)
{
    const char* const name = arv_dom_element_get_attribute(ARV_DOM_ELEMENT(element), "Name");
    return name == nullptr ? "" : name;
}

std::string LinkText(ArvDomNode* link)
{
    std::string text;
    ForEachChild(link, [&](ArvDomNode* child) {
        const char* const part = arv_dom_node_get_node_value(child);
        text += part == nullptr ? "" : part;
    });
    return text;
}

/** Adds what it takes to read the number or the text that a link refers to. */
void Description::Follow(ArvGcNode* target, const char* link, Reading* reading, unsigned depth,
                         bool toText)
{
    if (!reading->fault.empty()) {
        return;
    }
    if (target == nullptr) {
        reading->fault = fmt::format("{} refers to a feature that is not there", link);
        return;
    }
    const bool asks = std::string_view(link).starts_with("pIs"); // for yes or no
    if (toText && !IsText(target)) {
        reading->fault = fmt::format("{} refers to what is no text", link);
        return;
    }
    if (!toText && !IsNumber(target) && !(asks && ARV_IS_GC_BOOLEAN(target))) {
        reading->fault = fmt::format("{} refers to what is no number", link);
        return;
    }
    const Reading& behind = Read(target, depth + 1);
    if (behind.underWay) {
        reading->fault = fmt::format("{} leads back to itself", link);
        return;
    }
    reading->onCamera = reading->onCamera || behind.onCamera;
    reading->steps += behind.steps;
    reading->fault = behind.fault;
    if (reading->fault.empty() && reading->steps > kMaxSteps) {
        reading->fault = "its value depends on too many others";
    }
}

void Description::ReadParts(ArvDomNode* element, Reading* reading, Parts* parts, unsigned depth)
{
    ForEachChild(element, [&](ArvDomNode* child) {
        if (ARV_IS_GC_SWISS_KNIFE(child)) { // written inside, it computes an address
            parts->address = true;
            Follow(ARV_GC_NODE(child), "address", reading, depth);
            return;
        }
        const char* const name = arv_dom_node_get_node_name(child);
        switch (TypeOf(child)) {
        case ARV_GC_PROPERTY_NODE_TYPE_VALUE:
        case ARV_GC_PROPERTY_NODE_TYPE_VALUE_INDEXED:
        case ARV_GC_PROPERTY_NODE_TYPE_VALUE_DEFAULT:
            parts->value = true;
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
            parts->value = true;
            Follow(Target(child), name, reading, depth, IsText(ARV_GC_NODE(element)));
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_INDEXED:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_DEFAULT:
            parts->value = true;
            Follow(Target(child), name, reading, depth);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_COMMAND_VALUE:
            parts->command = true;
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE:
            parts->command = true;
            Follow(Target(child), name, reading, depth);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_ADDRESS:
            parts->address = true;
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_INDEX:
        case ARV_GC_PROPERTY_NODE_TYPE_P_ADDRESS:
            parts->address = true;
            Follow(Target(child), name, reading, depth);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_LENGTH:
            Follow(Target(child), name, reading, depth);
            if (reading->onCamera) { // the library would allocate as much as the camera asks for
                reading->fault = "the camera decides about the length of its register";
            }
            [[fallthrough]];
        case ARV_GC_PROPERTY_NODE_TYPE_LENGTH:
            parts->length = ARV_GC_PROPERTY_NODE(child);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE:
            Follow(Target(child), name, reading, depth);
            parts->names.push_back({.name = NameAttribute(child)});
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_CONSTANT:
        case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION:
            parts->names.push_back({.name = NameAttribute(child)});
            parts->formulas.push_back(LinkText(child));
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA:
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM:
            parts->formula = true;
            [[fallthrough]];
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO:
            parts->formulas.push_back(LinkText(child));
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_PORT:
            parts->port = child;
            break;
        default:
            break;
        }
    });
}

/** A converter's formulas use what is written (FROM) and what is kept (TO). */
void Description::CheckFormulas(Parts* parts, Reading* reading)
{
    parts->names.insert(parts->names.end(), {{.name = "FROM"}, {.name = "TO"}});
    for (const std::string& formula : parts->formulas) {
        const char* const fault = FaultOf(formula, parts->names);
        if (reading->fault.empty() && fault != nullptr) {
            reading->fault = fault;
        }
    }
}

void Description::CheckRegister(const Parts& parts, std::int64_t maxLength, Reading* reading)
{
    if (!reading->fault.empty()) {
        return;
    }
    if (!parts.address) {
        reading->fault = "its register has no address";
        return;
    }
    if (parts.port == nullptr || !ARV_IS_GC_PORT(Target(parts.port))) {
        reading->fault = "its register belongs to no port";
        return;
    }
    if (parts.length != nullptr) {
        ErrorSlot error;
        const std::int64_t length = arv_gc_property_node_get_int64(parts.length, error.Out());
        if (error || length < 1 || length > maxLength) {
            reading->fault = "its register has an impossible length";
        }
    }
    reading->onCamera = true;
}

const Description::Reading& Description::Read(ArvGcNode* node, unsigned depth)
{
    const auto [place, isNew] = readings_.try_emplace(node);
    Reading& reading = place->second;
    if (!isNew) {
        return reading;
    }
    if (depth > kMaxDepth) {
        reading.fault = "its value lies behind too many others";
        reading.underWay = false;
        return reading;
    }
    Parts parts;
    ReadParts(ARV_DOM_NODE(node), &reading, &parts, depth);
    if (ARV_IS_GC_STRUCT_ENTRY_NODE(node)) { // the register's own parts surround its entries
        ArvDomNode* const surrounding = arv_dom_node_get_parent_node(ARV_DOM_NODE(node));
        if (ARV_IS_GC_REGISTER_NODE(surrounding)) {
            ReadParts(surrounding, &reading, &parts, depth);
            CheckRegister(parts, kMaxNumberLength, &reading);
        } else {
            reading.fault = "it is part of no register";
        }
    } else if (ARV_IS_GC_REGISTER_NODE(node)) {
        CheckRegister(parts, IsText(node) ? kMaxTextLength : kMaxNumberLength, &reading);
    } else if (reading.fault.empty() && ARV_IS_GC_SWISS_KNIFE(node) && !parts.formula) {
        reading.fault = "its formula is missing";
    } else if (reading.fault.empty() && ARV_IS_GC_CONVERTER(node) && !parts.formula) {
        reading.fault = "its formula is missing";
    } else if (reading.fault.empty() && !ARV_IS_GC_SWISS_KNIFE(node) && !parts.value) {
        reading.fault = "its value is missing";
    } else if (reading.fault.empty() && ARV_IS_GC_COMMAND(node) && !parts.command) {
        reading.fault = "the value that starts it is missing";
    } else if (reading.fault.empty() && ARV_IS_GC_ENUMERATION(node) && !HasEntry(node)) {
        reading.fault = "it has no entries";
    }
    CheckFormulas(&parts, &reading);
    reading.underWay = false;
    return reading;
}

std::string Description::LinkFault(ArvGcPropertyNode* link)
{
    Reading reading;
    Follow(Target(ARV_DOM_NODE(link)), arv_dom_node_get_node_name(ARV_DOM_NODE(link)), &reading, 0);
    return reading.fault;
}

/** Gates and limits of a sound feature and of everything that its value passes through. */
void Description::Collect(ArvGcFeatureNode* node, Facts* facts)
{
    ForEachChild(node, [&](ArvDomNode* child) {
        const auto gate = [&](Gate::Kind kind) {
            const std::string fault = LinkFault(ARV_GC_PROPERTY_NODE(child));
            if (facts->fault.empty()) {
                facts->fault = fault;
            }
            facts->gates.push_back({kind, node});
            if (facts->fault.empty() && facts->gates.size() > kMostGates) {
                facts->fault = "its access depends on too many others";
            }
        };
        switch (TypeOf(child)) {
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
            gate(Gate::Kind::Implemented);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
            gate(Gate::Kind::Available);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
            gate(Gate::Kind::Locked);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_MINIMUM:
        case ARV_GC_PROPERTY_NODE_TYPE_P_MAXIMUM:
        case ARV_GC_PROPERTY_NODE_TYPE_P_INCREMENT:
            if (facts->limitFault.empty()) {
                facts->limitFault = LinkFault(ARV_GC_PROPERTY_NODE(child));
            }
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
            Collect(ARV_GC_FEATURE_NODE(Target(child)), facts);
            break;
        default:
            break;
        }
    });
}

Facts Description::Examine(ArvGcFeatureNode* node)
{
    const Reading& reading = Read(ARV_GC_NODE(node), 0);
    Facts facts;
    facts.fault = reading.fault;
    facts.onCamera = reading.onCamera;
    if (facts.fault.empty()) {
        Collect(node, &facts);
    }
    if (facts.fault.empty()) {
        facts.mode = ModeOf(node);
    }
    return facts;
}

bool Description::ExamineEntry(ArvGcFeatureNode* entry, std::vector<Gate>* gates)
{
    Facts facts;
    Collect(entry, &facts);
    *gates = std::move(facts.gates);
    return facts.fault.empty();
}

} // namespace net
