/** Results of the library as exceptions, in C++ and in Python. */
#pragma once

#include "kvframes.h"

#include <stdexcept>
#include <string>

namespace kvpython
{

/** A result other than KVF_OK. In Python it becomes a class of kvframes.errors. */
class Failure : public std::runtime_error
{
public:
    Failure(kvf_result result, const std::string& why) : std::runtime_error(why), result_(result) {}
    kvf_result Result() const { return result_; }

private:
    kvf_result result_;
};

/** Throws a Failure with the library's sentence unless the result is KVF_OK. Call it on the thread
 *  that got the result. */
void Check(kvf_result result);

/** Makes the interpreter translate a Failure. */
void TranslateFailures();

} // namespace kvpython
