#include "plugin/NetInfoPlugin.h"

// Apart from the rest of the plug-in object, so that the device tracker can be linked without it.

IPluginContainer* CNetInfoPlugin::m_pIPluginContainer = nullptr;

IPluginContainer* CNetInfoPlugin::GetPluginContainer() { return m_pIPluginContainer; }

void CNetInfoPlugin::SetPluginContainer(IPluginContainer* pContainer) { m_pIPluginContainer = pContainer; }
