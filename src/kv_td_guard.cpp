/** Turns what the camera throws into a log line and a status, one kind after the other. */
#include "kv_td_guard.h"

#include "gen_api.h"

#include <cxxabi.h>
#include <exception>

namespace KvTd
{

GuardResult ReportException(const LogSite& site, const char* origin)
{
    try {
        throw;
    } catch (const GenICam::InvalidArgumentException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Invalid Argument Exception %s", origin,
                  e.GetDescription());
        return {true, -3};
    } catch (const GenICam::PropertyException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Property Exception %s", origin,
                  e.GetDescription());
        return {true, 0}; // Deliberate: counts as success. Guard.StatusAndTextOfEachKind
    } catch (const GenICam::LogicalErrorException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Logical Error Exception %s", origin,
                  e.GetDescription());
        return {true, -14};
    } catch (const GenICam::OutOfRangeException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: OutOfRange Exception %s", origin,
                  e.GetDescription());
        return {true, -13};
    } catch (const GenICam::RuntimeException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Runtime Exception %s", origin, e.GetDescription());
        return {true, -1};
    } catch (const GenICam::AccessException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Access Exception %s", origin, e.GetDescription());
        return {true, -17};
    } catch (const GenICam::TimeoutException& e) {
        KV_LOG_AT(site, 1, " Origin %s - GenApi: Timeout Exception %s", origin, e.GetDescription());
        return {true, -6};
    } catch (const GenICam::DynamicCastException& e) {
        // Deliberate: spelt so, as log readers search for it. Guard.StatusAndTextOfEachKind
        KV_LOG_AT(site, 1, " Origin %s - GenApi: DynamiceCast Exception %s", origin,
                  e.GetDescription());
        return {true, -2};
    } catch (const std::exception& e) {
        KV_LOG_AT(site, 1, " Origin %s - StdLib: Exception %s", origin, e.what());
        return {true, -14};
    } catch (abi::__forced_unwind&) {
        throw; // the thread is being cancelled: that is nobody's failure
    } catch (...) {
        KV_LOG_AT(site, 1, " GenApi: Unknown Error Exception (catchall)");
        return {true, -1};
    }
}

} // namespace KvTd
