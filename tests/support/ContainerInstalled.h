#pragma once

class IPluginContainer;

namespace nettest {

/// The plug-in class has that container while this lives, and none afterwards, as if the container had been
/// handed to a plug-in object. For tests of the rooms below that object, which do not link it.
class ContainerInstalled
{
public:
    explicit ContainerInstalled(IPluginContainer& container);
    ~ContainerInstalled();
    ContainerInstalled(const ContainerInstalled&) = delete;
    ContainerInstalled& operator=(const ContainerInstalled&) = delete;
};

}  // namespace nettest
