/** Has the network library evaluate the formulas of descriptions as formula.h does. */
#pragma once

namespace net
{

/** From now on, for all cameras of the process: the value of a formula that has none is an error,
 *  wherever a feature, a limit, a gate or an address depends on it, and a value that a converter
 *  can't convert is not written. Calls beyond the first do nothing. Any thread.
 *
 *  The limits that the library computes by a converter's formula stay as they are: where one of
 * them divides by zero, as that of a reciprocal often does, the limit is 0. */
void EvaluateFormulasHere();

} // namespace net
