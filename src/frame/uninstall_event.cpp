#include "frame/uninstall_event.h"

namespace optimizer {

KernelHandle OpenUninstallEvent() {
    SECURITY_DESCRIPTOR descriptor = {};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), &descriptor, FALSE};
    return KernelHandle(
        CreateEventW(&attributes, FALSE, FALSE, L"Global\\VXOptimizer-E1AAA9B3-4250-4B54-B272-A4B6F6ADB63C"));
}

}  // namespace optimizer
