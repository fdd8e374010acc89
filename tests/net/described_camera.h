/** Cameras in memory with descriptions made by hand, and what an access to them raises. */
#pragma once

#include "net/nodes/feature_map.h"
#include "tests/net/memory_device.h"

#include <cstdint>
#include <string>

namespace test
{

/** A register's element; `more` is put inside. */
std::string Register(const std::string& name, std::uint64_t address, const std::string& mode = "RW",
                     const std::string& tag = "IntReg", const std::string& more = "");
/** An enumeration's entry. */
std::string Entry(const std::string& name, int value, const std::string& more = "");
/** The whole text around features; they may use the port "Device". */
std::string Describe(const std::string& features);

/** Registers that Camera() uses. */
enum : std::uint64_t {
    kWidth = 0x2000,
    kGain = 0x2010,
    kExposure = 0x2020, // float
    kTemperature = 0x2024,
    kSelector = 0x2030,
    kReverse = 0x2034,
    kFormat = 0x2038,
    kHas12 = 0x203c,
    kReady = 0x2040,
    kCommand = 0x2044,
    kStatus = 0x2048,
    kTrigger = 0x204c,
    kBank = 0x2050, // 4 cells
    kBankSelector = 0x2060,
    kLut = 0x2070, // 4 cells
    kLutSelector = 0x2080,
};

/** A camera with a feature of each kind. */
std::string Camera();

/** A description, the camera that has it, and its nodes. */
struct Opened {
    explicit Opened(const std::string& description)
        : device(NewMemoryDevice(description), "S1"), registers(RegistersOf(device.Handle())),
          map(device)
    {
    }

    GenApi::CIntegerPtr Integer(const char* name) { return map.GetNode(name); }
    GenApi::CFloatPtr Float(const char* name) { return map.GetNode(name); }
    GenApi::CEnumerationPtr Enumeration(const char* name) { return map.GetNode(name); }
    GenApi::CBooleanPtr Boolean(const char* name) { return map.GetNode(name); }
    GenApi::EAccessMode Mode(const char* name) { return map.GetNode(name)->GetAccessMode(); }

    /** Register reads and writes since the last time, as "1r 0w". */
    std::string Traffic()
    {
        return std::to_string(registers.reads.exchange(0)) + "r " +
               std::to_string(registers.writes.exchange(0)) + "w";
    }

    net::Device device;
    Registers& registers;
    net::FeatureMap map;
};

/** The kind and the description of the exception that an access raises; "" when it raises none. */
template <class Access> std::string Raised(const Access& access)
{
    using namespace GenICam;
    try {
        access();
    } catch (const InvalidArgumentException& e) {
        return std::string("InvalidArgument ") + e.GetDescription();
    } catch (const PropertyException& e) {
        return std::string("Property ") + e.GetDescription();
    } catch (const LogicalErrorException& e) {
        return std::string("LogicalError ") + e.GetDescription();
    } catch (const OutOfRangeException& e) {
        return std::string("OutOfRange ") + e.GetDescription();
    } catch (const RuntimeException& e) {
        return std::string("Runtime ") + e.GetDescription();
    } catch (const AccessException& e) {
        return std::string("Access ") + e.GetDescription();
    } catch (const TimeoutException& e) {
        return std::string("Timeout ") + e.GetDescription();
    }
    return {};
}

} // namespace test
