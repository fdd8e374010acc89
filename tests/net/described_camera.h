/** Cameras in memory with descriptions made by hand. */
#pragma once

#include "net/nodes/feature_map.h"
#include "tests/net/memory_device.h"
#include "tests/platform/do_access.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace test
{

/** A register's element; `more` is inside. */
std::string Register(const std::string& name, std::uint64_t address, const std::string& more = "");
/** The whole text around features; they may use the port "Device". */
std::string Describe(const std::string& features);

/** Registers that Camera() uses, some of them. */
enum : std::uint64_t {
    kWidth = 0x2000,
    kGain = 0x2010,
    kExposure = 0x2020, // float
    kTemperature = 0x2024,
    kSelector = 0x2030,
    kReverse = 0x2034,
    kFormat = 0x2038,
};

/** A camera with a feature of each kind: camera.xml. */
std::string Camera();

/** A description, the camera that has it, and its nodes. */
struct Opened {
    explicit Opened(const std::string& description,
                    std::shared_ptr<net::ValueCache> values = std::make_shared<net::ValueCache>())
        : device(NewMemoryDevice(description), "S1", nullptr, std::move(values)),
          registers(RegistersOf(device.Handle())), map(device)
    {
    }

    /** An access as do_access.h has it; "Start!" executes a command. */
    std::string Do(const std::string& access);
    GenApi::CFloatPtr Float(const char* name) { return map.GetNode(name); }
    GenApi::CEnumerationPtr Enumeration(const char* name) { return map.GetNode(name); }

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

} // namespace test
