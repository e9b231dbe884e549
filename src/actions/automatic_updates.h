// The settings of Automatic Updates as the Windows Update Agent offers them.
#pragma once

#include <windows.h>

#include <wuapi.h>

namespace optimizer {

/// Windows Vista and later. Declared here because the tool chain's header lacks it.
struct IAutomaticUpdatesSettings2 : IAutomaticUpdatesSettings {
    static constexpr GUID kIdentifier = {
        0x6ABC136A, 0xC3CA, 0x4384, {0x81, 0x71, 0xCB, 0x2B, 0x1E, 0x59, 0xB8, 0xDC}};

    virtual HRESULT STDMETHODCALLTYPE get_IncludeRecommendedUpdates(VARIANT_BOOL* included) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_IncludeRecommendedUpdates(VARIANT_BOOL included) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckPermission(int userType, int permissionType,
                                                      VARIANT_BOOL* hasPermission) = 0;
};

}  // namespace optimizer
