/** The selectors of features: their positions, and putting them back. */
#pragma once

#include "gen_api.h"

#include <string>
#include <utility>
#include <vector>

namespace kvgrab
{

/** The selectors of a feature, in the order in which they have to be set. */
std::vector<GenApi::INode*> SelectorsOf(GenApi::INode& node);

/** The values that a selector can have now; none if there are more than `most`, which sets
 *  `*tooMany`. Throws what the node throws. */
std::vector<std::string> PositionsOf(GenApi::INode& selector, std::size_t most, bool* tooMany);

/** Values of nodes, put back in the opposite order. */
class KeptValues
{
public:
    KeptValues() = default;
    /** Puts them back, if it can. */
    ~KeptValues();
    KeptValues(const KeptValues&) = delete;
    KeptValues& operator=(const KeptValues&) = delete;

    /** Keeps the value that the node has. Throws what the node throws. */
    void Keep(GenApi::INode& node);
    /** Throws what the nodes throw. */
    void Restore();

private:
    std::vector<std::pair<GenApi::INode*, std::string>> kept_;
};

} // namespace kvgrab
