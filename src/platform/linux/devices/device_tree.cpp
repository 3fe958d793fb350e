#include "platform/linux/devices/device_tree.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/linux/core/handles.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_node_records.h"
#include "platform/linux/devices/registry_keys.h"
#include "platform/linux/files/profile_document.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

constexpr GUID COM_PORT_CLASS = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

struct FilterDriver {
    std::u16string service;
    std::function<void(DEVINST port)> start;
};

struct DeviceTree {
    std::recursive_mutex mutex; // guards the rest
    std::vector<std::unique_ptr<DeviceNode>> nodes;
    std::vector<FilterDriver> filterDrivers;
};

DeviceTree* Tree()
{
    static DeviceTree tree;
    return &tree;
}

struct DeviceObject : HandleObject {
    static constexpr HandleKind KIND = HandleKind::DEVICE;
    std::shared_ptr<DeviceServer> server;
};

void CloseDevice(HandleObject* object)
{
    delete static_cast<DeviceObject*>(object);
}

std::string DevicesFile()
{
    const std::string& folder = ThisMachine()->stateFolder;
    return folder.empty() ? "" : folder + "/devices.ini";
}

// What the state folder keeps of a port.
std::u16string StoredValue(std::u16string_view instanceId, std::u16string_view key)
{
    ProfileDocument devices;
    ReadProfile(DevicesFile(), &devices);
    return FindValue(&devices, instanceId, key).value_or(u"");
}

bool StoreValue(std::u16string_view instanceId, std::u16string_view key, const std::u16string& value)
{
    const auto store = [&](ProfileDocument* devices) { SetValue(devices, instanceId, key, value.empty() ? nullptr : value.c_str()); };
    return DevicesFile().empty() || UpdateProfile(DevicesFile(), store, Durability::LATER);
}

std::vector<std::u16string> Split(std::u16string_view list)
{
    std::vector<std::u16string> entries;
    while (!list.empty()) {
        const size_t end = list.find(u';');
        entries.emplace_back(list.substr(0, end));
        list.remove_prefix(end == std::u16string_view::npos ? list.size() : end + 1);
    }
    return entries;
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

template <typename T, typename Read>
T ReadNode(DEVINST node, Read read)
{
    const TreeLock lock;
    const DeviceNode* found = NodeOf(node);
    return found == nullptr ? T{} : read(found);
}

} // namespace

TreeLock::TreeLock()
{
    Tree()->mutex.lock();
}

TreeLock::~TreeLock()
{
    Tree()->mutex.unlock();
}

DeviceNode* NodeOf(DEVINST node)
{
    const auto& nodes = Tree()->nodes;
    DeviceNode* found = node == 0 || node > nodes.size() ? nullptr : nodes[node - 1].get();
    return found != nullptr && found->present ? found : nullptr;
}

std::vector<DEVINST> PresentNodes()
{
    std::vector<DEVINST> present;
    for (DEVINST node = 1; node <= Tree()->nodes.size(); ++node) {
        if (NodeOf(node) != nullptr)
            present.push_back(node);
    }
    return present;
}

void StartFilter(DEVINST node)
{
    std::function<void(DEVINST)> start;
    {
        const TreeLock lock;
        const DeviceNode* found = NodeOf(node);
        if (found == nullptr || found->upperFilters.empty())
            return;
        for (const FilterDriver& driver : Tree()->filterDrivers) {
            if (EqualNoCase(driver.service, found->upperFilters.front()))
                start = driver.start;
        }
    }
    if (start)
        start(node); // it talks to the port, so nothing is locked
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

DEVINST AddNode(const NodeOptions& options)
{
    const TreeLock lock;
    auto node = std::make_unique<DeviceNode>();
    node->options = options;
    node->status = options.status;
    Tree()->nodes.push_back(std::move(node));
    return static_cast<DEVINST>(Tree()->nodes.size());
}

void RemoveNode(DEVINST node)
{
    const TreeLock lock;
    for (const DEVINST child : ChildrenOf(node))
        RemoveNode(child);
    DeviceNode* found = NodeOf(node);
    if (found == nullptr)
        return;
    if (const DeviceNode* parent = NodeOf(found->options.parent);
        parent != nullptr && EqualNoCase(StoredValue(parent->options.instanceId, u"Child"), found->options.instanceId))
        StoreValue(parent->options.instanceId, u"Child", u"");
    found->present = false;
}

DEVINST FindNode(std::u16string_view instanceId)
{
    const TreeLock lock;
    for (const DEVINST node : PresentNodes()) {
        if (EqualNoCase(NodeOf(node)->options.instanceId, instanceId))
            return node;
    }
    return 0;
}

std::u16string InstanceIdOf(DEVINST node)
{
    return ReadNode<std::u16string>(node, [](const DeviceNode* found) { return found->options.instanceId; });
}

std::vector<std::u16string> UpperFiltersOf(DEVINST node)
{
    return ReadNode<std::vector<std::u16string>>(node, [](const DeviceNode* found) { return found->upperFilters; });
}

std::vector<DEVINST> ChildrenOf(DEVINST node)
{
    const TreeLock lock;
    std::vector<DEVINST> children = PresentNodes();
    children.erase(
        std::remove_if(children.begin(), children.end(), [node](DEVINST child) { return NodeOf(child)->options.parent != node; }),
        children.end());
    return children;
}

ULONG StatusOf(DEVINST node)
{
    return ReadNode<ULONG>(node, [](const DeviceNode* found) { return found->status; });
}

void SetStatus(DEVINST node, ULONG status)
{
    const TreeLock lock;
    if (DeviceNode* found = NodeOf(node); found != nullptr)
        found->status = status;
}

void LockHardwareKey(DEVINST node)
{
    const TreeLock lock;
    if (DeviceNode* found = NodeOf(node); found != nullptr)
        found->hardwareKeyLocked = true;
}

DWORD InstallFlagsOf(DEVINST node)
{
    return ReadNode<DWORD>(node, [](const DeviceNode* found) { return found->installFlags; });
}

int RestartsOf(DEVINST node)
{
    return ReadNode<int>(node, [](const DeviceNode* found) { return found->restarts; });
}

int EnumerationsOf(DEVINST node)
{
    return ReadNode<int>(node, [](const DeviceNode* found) { return found->enumerations; });
}

std::string NativePathOf(DEVINST node)
{
    return ReadNode<std::string>(node,
        [](const DeviceNode* found) { return found->options.interfaces.empty() ? "" : found->options.interfaces.front().nativePath; });
}

std::u16string HardwareKeyPath(std::u16string_view instanceId)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Enum\\" + std::u16string(instanceId) + u"\\Device Parameters";
}

DEVINST AddSerialPort(std::u16string_view name, const std::string& nativePath, const std::string& stablePath)
{
    std::u16string adapter = FromNativePath(stablePath);
    std::replace_if(
        adapter.begin(), adapter.end(), [](char16_t unit) { return unit == u'/' || unit == u'[' || unit == u']'; }, u'#');
    NodeOptions options;
    options.instanceId = u"TTY\\SERIALPORT\\" + adapter;
    options.hardwareIds = {u"TTY\\SERIALPORT"};
    options.interfaces = {{COM_PORT_CLASS, u"\\\\?\\tty#serialport#" + std::u16string(name) + u"#{86e0d1e0-8089-11d0-9ce4-08003e301f73}",
        nativePath, nullptr}};

    const TreeLock lock;
    const DEVINST port = AddNode(options);
    NodeOf(port)->upperFilters = Split(StoredValue(options.instanceId, u"UpperFilters"));
    if (const std::u16string child = StoredValue(options.instanceId, u"Child"); !child.empty())
        AddChild(port, child);

    HKEY key = OpenRegistryPath(HardwareKeyPath(options.instanceId));
    const std::u16string value(name);
    RegSetValueExW(
        key, u"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), static_cast<DWORD>((value.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
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

void PlugFilterDriver(std::u16string_view service, std::function<void(DEVINST port)> start)
{
    const TreeLock lock;
    Tree()->filterDrivers.push_back({std::u16string(service), std::move(start)});
}

const InterfaceOptions* FindInterface(std::u16string_view path)
{
    const TreeLock lock;
    for (const DEVINST node : PresentNodes()) {
        for (const InterfaceOptions& deviceInterface : NodeOf(node)->options.interfaces) {
            if (EqualNoCase(deviceInterface.path, path))
                return &deviceInterface;
        }
    }
    return nullptr;
}

HANDLE OpenDevice(const InterfaceOptions* deviceInterface)
{
    if (!deviceInterface->server->canOpen()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    auto* device = new DeviceObject;
    device->kind = DeviceObject::KIND;
    device->close = CloseDevice;
    device->server = deviceInterface->server;
    return static_cast<HandleObject*>(device);
}

void ClearDeviceTree()
{
    const TreeLock lock;
    Tree()->nodes.clear();
    Tree()->filterDrivers.clear();
}

} // namespace korvex::platform

BOOL DeviceIoControl(HANDLE handle, DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize, DWORD* returned,
    OVERLAPPED* /*overlapped*/)
{
    const auto* device = korvex::platform::ObjectAs<korvex::platform::DeviceObject>(handle);
    if (device == nullptr)
        return FALSE;
    const auto* bytes = static_cast<const BYTE*>(input);
    std::vector<BYTE> answer(outputSize);
    if (!device->server->control(code, inputSize == 0 ? std::vector<BYTE>{} : std::vector<BYTE>(bytes, bytes + inputSize), &answer))
        return korvex::platform::Fail(ERROR_INVALID_FUNCTION);
    *returned = static_cast<DWORD>(std::min<size_t>(answer.size(), outputSize));
    std::copy_n(answer.begin(), *returned, static_cast<BYTE*>(output));
    return TRUE;
}
