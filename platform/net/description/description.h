/** What a camera's description says about a feature, before the camera is asked.
 *
 *  The library takes much on trust: a reference to nothing reads as 0, a circular one never
 *  returns, and a register of negative length ends the process. So every feature is examined once,
 *  when the camera is opened. */
#pragma once

#include "gen_api.h"

#include <arv.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace net
{

/** A condition on the access to a feature, which the value of another feature decides. */
struct Gate {
    enum class Kind { Implemented, Available, Locked };
    Kind kind;
    ArvGcFeatureNode* node; ///< has the gate: the feature itself, or one that its value comes from
};

struct Facts {
    std::string fault;      ///< why no access can succeed; empty for a sound description
    std::string limitFault; ///< the same for its limits
    std::vector<Gate> gates;
    GenApi_3_0::EAccessMode mode = GenApi_3_0::NI; ///< with every gate open; NI of a faulty feature
    bool onCamera = false;                         ///< its value is kept in the camera
};

/** Examines features. Reads nothing from the camera; under the device's lock. */
class Description
{
public:
    Facts Examine(ArvGcFeatureNode* node);
    /** Only the gates of an enumeration's entry; false when one of them is faulty. */
    bool ExamineEntry(ArvGcFeatureNode* entry, std::vector<Gate>* gates);

private:
    /** What it takes to read a value. */
    struct Reading {
        bool underWay = true;
        bool onCamera = false;
        unsigned steps = 1; ///< values asked for on the way
        std::string fault;
    };
    struct Parts;

    const Reading& Read(ArvGcNode* node, unsigned depth);
    void Follow(ArvGcNode* target, const char* link, Reading* reading, unsigned depth,
                bool toText = false);
    void ReadParts(ArvDomNode* element, Reading* reading, Parts* parts, unsigned depth);
    static void CheckFormulas(Parts* parts, Reading* reading);
    void CheckRegister(const Parts& parts, std::int64_t maxLength, Reading* reading);
    void Collect(ArvGcFeatureNode* node, Facts* facts);
    /** "" or what is wrong with the link. */
    std::string LinkFault(ArvGcPropertyNode* link);

    std::unordered_map<ArvGcNode*, Reading> readings_;
};

/** `visit(child)` for each child of a node, in the order of the text. */
template <class Visit> void ForEachChild(gpointer node, const Visit& visit)
{
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        visit(child);
    }
}

/** An entry without a value can't be written; the library gives it a 0. */
bool HasValue(ArvGcEnumEntry* entry);

/** The attribute Name of an element; empty when it has none. */
std::string NameAttribute(ArvDomNode* element);

/** The name that a link gives; empty when it gives none. */
std::string LinkText(ArvDomNode* link);

} // namespace net
