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

std::wstring ProcessDefaultOwner() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return {};
    }
    const UniqueKernelHandle owned(token);
    DWORD size = 0;
    GetTokenInformation(token, TokenOwner, nullptr, 0, &size);  // asks for the size
    std::vector<BYTE> buffer(size);
    if (size == 0 || !GetTokenInformation(token, TokenOwner, buffer.data(), size, &size)) {
        return {};
    }
    return SidText(reinterpret_cast<TOKEN_OWNER*>(buffer.data())->Owner);
}

bool HasAdministrativeOwner(HANDLE object, SE_OBJECT_TYPE type) {
    std::wstring owner;
    if (Failed(ObjectOwner(object, type, owner))) {
        // Windows gives every named object an owner, readable through a handle with full
        // access; only a system without owners (Wine's kernel objects) leaves it unknown,
        // and there the object is taken as it always was.
        return true;
    }
    return owner_rule::IsAdministrativeOwner(owner, ProcessDefaultOwner());
}

}  // namespace owner_sys
