#include "tests/support/ContainerInstalled.h"

#include "plugin/NetInfoPlugin.h"

namespace nettest {
namespace {

void SetContainer(IPluginContainer* pContainer);

// The pointer is private to the plug-in class and its setter needs an object. An explicit instantiation may
// name a private member, and that is the way in.
template <IPluginContainer** Pointer>
struct Door
{
    friend void SetContainer(IPluginContainer* pContainer) { *Pointer = pContainer; }
};
template struct Door<&CNetInfoPlugin::m_pIPluginContainer>;

}  // namespace

ContainerInstalled::ContainerInstalled(IPluginContainer& container) { SetContainer(&container); }

ContainerInstalled::~ContainerInstalled() { SetContainer(nullptr); }

}  // namespace nettest
