/** The exception that an access raises, as text. */
#pragma once

#include "gen_api.h"

#include <string>

/** The kind of the exception and its description, "Timeout camera S1 does not answer"; "" when the
 *  access raises nothing. */
template <class Access> std::string Raised(const Access& access)
{
    using namespace GenICam;
    std::string raised;
    const auto as = [&](const char* kind, const std::exception& e) {
        raised = std::string(kind) + " " + e.what();
    };
    try {
        access();
    } catch (const InvalidArgumentException& e) {
        as("InvalidArgument", e);
    } catch (const PropertyException& e) {
        as("Property", e);
    } catch (const LogicalErrorException& e) {
        as("LogicalError", e);
    } catch (const OutOfRangeException& e) {
        as("OutOfRange", e);
    } catch (const RuntimeException& e) {
        as("Runtime", e);
    } catch (const AccessException& e) {
        as("Access", e);
    } catch (const TimeoutException& e) {
        as("Timeout", e);
    } catch (const DynamicCastException& e) {
        as("DynamicCast", e);
    } catch (const std::exception& e) {
        as("Standard", e);
    } catch (...) {
        raised = "Unknown";
    }
    return raised;
}
