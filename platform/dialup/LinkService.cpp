#include "platform/dialup/LinkService.h"

namespace netinfo {

LinkService& LinkService::Instance()
{
    static LinkService* const service = new LinkService;
    return *service;
}

}  // namespace netinfo
