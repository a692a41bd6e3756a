#include "sys/owner_sys.h"

#include <sddl.h>

#include <vector>

#include "sys/owner_rule.h"
#include "sys/unique_handle.h"

namespace owner_sys {
namespace {

std::wstring SidText(PSID sid) {
    wchar_t* text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid, &text)) {
        return {};
    }
    const UniqueLocalMemory<wchar_t*> owned(text);
    return text;
}

}  // namespace

Status ObjectOwner(HANDLE object, SE_OBJECT_TYPE type, std::wstring& owner) {
    PSID sid = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(object, type, OWNER_SECURITY_INFORMATION, &sid, nullptr, nullptr,
                        nullptr, &descriptor) != ERROR_SUCCESS) {
        return kStatusNotFound;
    }
    const UniqueLocalMemory<PSECURITY_DESCRIPTOR> owned(descriptor);
    owner = SidText(sid);
    return owner.empty() ? kStatusNotFound : kStatusOk;
}

std::vector<std::wstring> ProcessOwners() {
    std::vector<std::wstring> owners;
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return owners;
    }
    const UniqueKernelHandle owned(token);
    for (const TOKEN_INFORMATION_CLASS kind : {TokenUser, TokenOwner}) {
        DWORD size = 0;
        GetTokenInformation(token, kind, nullptr, 0, &size);  // asks for the size
        std::vector<BYTE> buffer(size);
        if (size != 0 && GetTokenInformation(token, kind, buffer.data(), size, &size)) {
            // Both structures start with the SID's pointer.
            owners.push_back(SidText(*reinterpret_cast<PSID*>(buffer.data())));
        }
    }
    return owners;
}

bool HasAdministrativeOwner(HANDLE object, SE_OBJECT_TYPE type) {
    std::wstring owner;
    if (Failed(ObjectOwner(object, type, owner))) {
        // Windows gives every named object an owner, readable through a handle with full
        // access; only a system without owners (Wine's kernel objects) leaves it unknown,
        // and there the object is taken as it always was.
        return true;
    }
    return owner_rule::IsAdministrativeOwner(owner, ProcessOwners());
}

}  // namespace owner_sys
