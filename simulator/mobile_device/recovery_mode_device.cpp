#include "simulator/mobile_device/restorable_device.h"
#include "simulator/mobile_device/running_simulation.h"

using simulator::checked;

_AMRecoveryModeDevice::_AMRecoveryModeDevice(const simulator::device_description& description)
    : object(static_type()),
      name(description.name),
      set_auto_boot_result(description.set_auto_boot_result),
      reboot_result(description.reboot_result) {}

const simulator::runtime_type& _AMRecoveryModeDevice::static_type() {
    static const auto& type = *new simulator::runtime_type("AMRecoveryModeDevice");
    return type;
}

std::string _AMRecoveryModeDevice::describe() const {
    return "<AMRecoveryModeDevice " + name + ">";
}

std::int32_t AMRecoveryModeDeviceSetAutoBoot(_AMRecoveryModeDevice* device, Boolean auto_boot) {
    const _AMRecoveryModeDevice& recovery = checked(device);
    simulator::running().record(__func__, &recovery.name, {{"AutoBoot", auto_boot != 0}});
    simulator::running().play_during(__func__);
    return recovery.set_auto_boot_result;
}

std::int32_t AMRecoveryModeDeviceReboot(_AMRecoveryModeDevice* device) {
    const _AMRecoveryModeDevice& recovery = checked(device);
    simulator::running().record(__func__, &recovery.name);
    simulator::running().play_during(__func__);
    return recovery.reboot_result;
}
