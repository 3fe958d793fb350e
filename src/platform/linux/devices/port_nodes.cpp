#include "platform/linux/devices/port_nodes.h"

#include <algorithm>
#include <utility>

#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/registry_store.h"
#include "platform/linux/files/profile_file.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

constexpr GUID COM_PORT_CLASS
    = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

// The driver that can be a port's first upper filter. Under the tree's lock.
struct FilterDriver {
    std::u16string_view service;
    void (*start)(DEVINST port);
} filterDriver{};

std::string DevicesFile()
{
    const std::string& folder = ThisMachine()->folders.state;
    return folder.empty() ? "" : folder + "/devices.ini";
}

// A port's value in the state folder.
std::u16string StoredValue(std::u16string_view instanceId, std::u16string_view key)
{
    ProfileDocument devices;
    ReadProfile(DevicesFile(), &devices);
    return FindValue(&devices, instanceId, key).value_or(u"");
}

bool StoreValue(
    std::u16string_view instanceId, std::u16string_view key, const std::u16string& value)
{
    const auto store = [&](ProfileDocument* devices) {
        SetValue(devices, instanceId, key, value.empty() ? nullptr : value.c_str());
    };
    return DevicesFile().empty() || UpdateProfile(DevicesFile(), store, Durability::DEFERRED);
}

std::u16string Join(const std::vector<std::u16string>& entries)
{
    std::u16string list;
    for (const std::u16string& entry : entries)
        list += (list.empty() ? u"" : u";") + entry;
    return list;
}

DEVINST AddChild(DEVINST port, std::u16string_view instanceId)
{
    NodeOptions child;
    child.instanceId = instanceId;
    child.parent = port;
    child.hardwareIds = {std::u16string(instanceId.substr(0, instanceId.rfind(u'\\')))};
    return AddNode(child);
}

} // namespace

void StartFilter(DEVINST node)
{
    FilterDriver driver{};
    {
        const TreeLock lock;
        const DeviceNode* found = NodeOf(node);
        if (found != nullptr && !found->upperFilters.empty()
            && EqualNoCase(filterDriver.service, found->upperFilters.front()))
            driver = filterDriver;
    }
    if (driver.start != nullptr)
        driver.start(node); // it talks to the port, so nothing is locked
}

bool StoreUpperFilters(DEVINST node, std::vector<std::u16string> filters)
{
    const TreeLock lock;
    DeviceNode* found = NodeOf(node);
    if (found == nullptr)
        return false;
    found->upperFilters = std::move(filters);
    return StoreValue(found->options.instanceId, u"UpperFilters", Join(found->upperFilters));
}

void RemoveNode(DEVINST node)
{
    const TreeLock lock;
    for (const DEVINST child : ChildrenOf(node))
        RemoveNode(child);
    const DeviceNode* found = NodeOf(node);
    if (found == nullptr)
        return;
    if (const DeviceNode* parent = NodeOf(found->options.parent); parent != nullptr
        && EqualNoCase(
            StoredValue(parent->options.instanceId, u"Child"), found->options.instanceId))
        StoreValue(parent->options.instanceId, u"Child", u"");
    NodeOf(node)->present = false;
}

DEVINST AddSerialPort(
    std::u16string_view name, const std::string& nativePath, const std::string& stablePath)
{
    std::u16string adapter = FromNativePath(stablePath);
    std::replace_if(
        adapter.begin(), adapter.end(),
        [](char16_t unit) { return unit == u'/' || unit == u'[' || unit == u']'; }, u'#');
    NodeOptions options;
    options.instanceId = u"TTY\\SERIALPORT\\" + adapter;
    options.hardwareIds = {u"TTY\\SERIALPORT"};
    options.interfaces = {{COM_PORT_CLASS,
        u"\\\\?\\tty#serialport#" + std::u16string(name)
            + u"#{86e0d1e0-8089-11d0-9ce4-08003e301f73}",
        nativePath, nullptr}};

    const TreeLock lock;
    const DEVINST port = AddNode(options);
    DeviceNode* node = NodeOf(port);
    node->upperFilters = Split(StoredValue(options.instanceId, u"UpperFilters"), u';');
    const std::u16string child = StoredValue(options.instanceId, u"Child");
    if (!child.empty())
        AddChild(port, child);
    else if (!node->upperFilters.empty())
        node->status |= DN_HAS_PROBLEM; // its filter has found nothing to present
    SetVolatileText(HardwareKeyPath(options.instanceId), u"PortName", name);
    return port;
}

bool PresentChild(DEVINST port, std::u16string_view instanceId)
{
    const TreeLock lock;
    const DeviceNode* found = NodeOf(port);
    if (found == nullptr)
        return false;
    bool presented = false;
    for (const DEVINST child : ChildrenOf(port)) {
        if (EqualNoCase(InstanceIdOf(child), instanceId))
            presented = true;
        else
            RemoveNode(child);
    }
    if (!presented && !instanceId.empty())
        AddChild(port, instanceId);
    return StoreValue(found->options.instanceId, u"Child", std::u16string(instanceId));
}

bool ForgetPort(DEVINST port)
{
    const TreeLock lock;
    const bool childForgotten = PresentChild(port, u"");
    return StoreUpperFilters(port, {}) && childForgotten;
}

void SetFilterDriver(std::u16string_view service, void (*start)(DEVINST port))
{
    const TreeLock lock;
    filterDriver = {service, start};
}

void ClearDeviceTree()
{
    const TreeLock lock;
    ClearNodes();
    filterDriver = {};
    ClearVolatileTexts();
}

} // namespace korvex::platform
