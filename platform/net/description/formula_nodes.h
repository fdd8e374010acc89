/** Has the network library evaluate the formulas of descriptions as formula.h does. */
#pragma once

namespace net
{

/** From now on, for all cameras of the process: the value of a formula that has none is an error,
 *  wherever a feature, a limit, a gate or an address depends on it, and a value that a converter
 *  can't convert is not written. The limits of a converter are the library's, which has errors of
 *  its own for them. Calls beyond the first do nothing. Any thread. */
void EvaluateFormulasHere();

} // namespace net
