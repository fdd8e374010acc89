#include "net/description/formula_nodes.h"

#include "net/description/description.h"
#include "net/description/formula.h"

#include <arv.h>

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace net
{

namespace
{

/** What an element says of its formula; numbers are read from the camera. */
struct Spelled {
    std::vector<FormulaName> names;
    std::string formula; ///< of a swiss knife
    std::string from;    ///< of a converter, like the next two
    std::string to;
    ArvGcNode* value = nullptr;
};

/** False: `*error` is set. */
bool ReadNumber(ArvGcNode* node, FormulaName* number, GError** error)
{
    GError* own = nullptr;
    if (ARV_IS_GC_INTEGER(node)) {
        number->integer = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &own);
        number->real = static_cast<double>(number->integer);
    } else if (ARV_IS_GC_FLOAT(node)) {
        number->real = arv_gc_float_get_value(ARV_GC_FLOAT(node), &own);
        number->integer = WholeOf(number->real);
    }
    if (own != nullptr) {
        g_propagate_error(error, own);
        return false;
    }
    return true;
}

bool Spell(gpointer element, Spelled* spelled, GError** error)
{
    bool fine = true;
    ForEachChild(element, [&](ArvDomNode* child) {
        if (!fine || !ARV_IS_GC_PROPERTY_NODE(child)) {
            return;
        }
        auto* const property = ARV_GC_PROPERTY_NODE(child);
        switch (arv_gc_property_node_get_node_type(property)) {
        case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE: {
            FormulaName variable{.name = NameAttribute(child)};
            fine = ReadNumber(arv_gc_property_node_get_linked_node(property), &variable, error);
            spelled->names.push_back(std::move(variable));
            break;
        }
        case ARV_GC_PROPERTY_NODE_TYPE_CONSTANT:
        case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION:
            spelled->names.push_back({.name = NameAttribute(child), .expression = LinkText(child)});
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA:
            spelled->formula = LinkText(child);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM:
            spelled->from = LinkText(child);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO:
            spelled->to = LinkText(child);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
            spelled->value = arv_gc_property_node_get_linked_node(property);
            break;
        default:
            break;
        }
    });
    return fine;
}

FormulaResult Compute(gpointer node, std::string_view formula, const Spelled& spelled,
                      Arithmetic arithmetic, GError** error)
{
    const FormulaResult result = Evaluate(formula, spelled.names, arithmetic);
    if (result.fault == nullptr) {
        return result;
    }
    const char* const name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node));
    g_set_error(error, ARV_GC_ERROR, ARV_GC_ERROR_INVALID_PVALUE, "[%s] %s",
                name == nullptr ? "" : name, result.fault);
    return {};
}

FormulaResult KnifeValue(gpointer node, Arithmetic arithmetic, GError** error)
{
    Spelled spelled;
    return Spell(node, &spelled, error) ? Compute(node, spelled.formula, spelled, arithmetic, error)
                                        : FormulaResult{};
}

/** Converters always compute in real numbers. */
FormulaResult ConverterValue(gpointer node, GError** error)
{
    Spelled spelled;
    FormulaName kept{.name = "TO"};
    if (!Spell(node, &spelled, error) || !ReadNumber(spelled.value, &kept, error)) {
        return {};
    }
    spelled.names.push_back(kept);
    return Compute(node, spelled.from, spelled, Arithmetic::Real, error);
}

void SetConverter(gpointer node, const FormulaName& written, GError** error)
{
    Spelled spelled;
    GError* own = nullptr;
    FormulaResult kept;
    if (Spell(node, &spelled, &own)) {
        spelled.names.push_back(written);
        kept = Compute(node, spelled.to, spelled, Arithmetic::Real, &own);
    }
    if (own != nullptr) {
        g_propagate_error(error, own);
    } else if (ARV_IS_GC_INTEGER(spelled.value)) {
        arv_gc_integer_set_value(ARV_GC_INTEGER(spelled.value), kept.integer, error);
    } else if (ARV_IS_GC_FLOAT(spelled.value)) {
        arv_gc_float_set_value(ARV_GC_FLOAT(spelled.value), kept.real, error);
    }
}

gint64 IntegerKnife(ArvGcInteger* node, GError** error) noexcept
{
    return KnifeValue(node, Arithmetic::Integer, error).integer;
}

double RealKnife(ArvGcFloat* node, GError** error) noexcept
{
    return KnifeValue(node, Arithmetic::Real, error).real;
}

gint64 IntegerConverter(ArvGcInteger* node, GError** error) noexcept
{
    return ConverterValue(node, error).integer;
}

double RealConverter(ArvGcFloat* node, GError** error) noexcept
{
    return ConverterValue(node, error).real;
}

void SetIntegerConverter(ArvGcInteger* node, gint64 value, GError** error) noexcept
{
    SetConverter(node, {"FROM", value, static_cast<double>(value)}, error);
}

void SetRealConverter(ArvGcFloat* node, double value, GError** error) noexcept
{
    SetConverter(node, {"FROM", WholeOf(value), value}, error);
}

/** The table of functions by which a class of the library implements an interface. The class is
 *  kept for good. */
template <class Interface> Interface& FunctionsOf(GType type, GType interface)
{
    return *static_cast<Interface*>(g_type_interface_peek(g_type_class_ref(type), interface));
}

} // namespace

void EvaluateFormulasHere()
{
    static std::once_flag once;
    std::call_once(once, [] {
        FunctionsOf<ArvGcIntegerInterface>(ARV_TYPE_GC_INT_SWISS_KNIFE_NODE, ARV_TYPE_GC_INTEGER)
            .get_value = IntegerKnife;
        FunctionsOf<ArvGcFloatInterface>(ARV_TYPE_GC_SWISS_KNIFE_NODE, ARV_TYPE_GC_FLOAT)
            .get_value = RealKnife;
        auto& integers =
            FunctionsOf<ArvGcIntegerInterface>(ARV_TYPE_GC_INT_CONVERTER_NODE, ARV_TYPE_GC_INTEGER);
        integers.get_value = IntegerConverter;
        integers.set_value = SetIntegerConverter;
        auto& reals =
            FunctionsOf<ArvGcFloatInterface>(ARV_TYPE_GC_CONVERTER_NODE, ARV_TYPE_GC_FLOAT);
        reals.get_value = RealConverter;
        reals.set_value = SetRealConverter;
    });
}

} // namespace net
