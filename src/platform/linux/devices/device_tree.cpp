#include "platform/linux/devices/device_tree.h"

#include <mutex>
#include <utility>

#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

struct DeviceTree {
    std::recursive_mutex mutex; // guards the rest
    std::vector<std::unique_ptr<DeviceNode>> nodes;
};

DeviceTree* Tree()
{
    static DeviceTree tree;
    return &tree;
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

DEVINST AddNode(const NodeOptions& options)
{
    const TreeLock lock;
    auto node = std::make_unique<DeviceNode>();
    node->options = options;
    Tree()->nodes.push_back(std::move(node));
    return static_cast<DEVINST>(Tree()->nodes.size());
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
    return ReadNode<std::u16string>(
        node, [](const DeviceNode* found) { return found->options.instanceId; });
}

std::vector<DEVINST> ChildrenOf(DEVINST node)
{
    const TreeLock lock;
    std::vector<DEVINST> children = PresentNodes();
    std::erase_if(
        children, [node](DEVINST child) { return NodeOf(child)->options.parent != node; });
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

DWORD InstallFlagsOf(DEVINST node)
{
    return ReadNode<DWORD>(node, [](const DeviceNode* found) { return found->installFlags; });
}

std::string NativePathOf(DEVINST node)
{
    return ReadNode<std::string>(node, [](const DeviceNode* found) {
        return found->options.interfaces.empty() ? ""
                                                 : found->options.interfaces.front().nativePath;
    });
}

std::u16string HardwareKeyPath(std::u16string_view instanceId)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Enum\\" + std::u16string(instanceId)
        + u"\\Device Parameters";
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

void ClearNodes()
{
    const TreeLock lock;
    Tree()->nodes.clear();
}

} // namespace korvex::platform
