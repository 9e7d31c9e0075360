// The interposed service functions, one line each. The log's are left alone: they never raise.

#include "service_spy.h"

#include <dlfcn.h>

#include <type_traits>
#include <utility>

#include "akt.h"
#include "ccs.h"
#include "cl.h"
#include "cust.h"
#include "cvc.h"
#include "er.h"
#include "mdc.h"
#include "nm.h"
#include "os.h"

namespace {

struct State {
    int calls_to_fault = 0;  // 0: none is put in
    spy::Fault fault = spy::Fault::kRecoverable;
    std::string failed;
    int inside = 0;  // depth of service calls: what a service calls itself is its own affair
    std::vector<std::string> *error_calls = nullptr;
};
State state;

void count_call(const char *name) {
    if (state.inside > 0 || state.calls_to_fault == 0 || --state.calls_to_fault > 0) {
        return;
    }
    state.failed = name;
    if (state.fault == spy::Fault::kPersistent) {
        er_PersistentEscape(spy::kFaultSet, spy::kFaultNumber, "spy", __LINE__);
    }
    er_TracedEscape(spy::kFaultSet, spy::kFaultNumber, "spy", __LINE__);
}

struct Inside {
    Inside() { ++state.inside; }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;
    ~Inside() { --state.inside; }
};

template <typename Function>
Function *real(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// A call that can fail instead of being made.
template <typename Result, typename... Arguments>
Result pass(const char *name, Result (* /*own*/)(Arguments...), std::type_identity_t<Arguments>... arguments) {
    count_call(name);
    const Inside guard;
    return real<Result(Arguments...)>(name)(arguments...);
}

// A call that releases something, and can fail after that.
template <typename Argument>
void release(const char *name, void (* /*own*/)(Argument), std::type_identity_t<Argument> argument) {
    {
        const Inside guard;
        real<void(Argument)>(name)(argument);
    }
    count_call(name);
}

// A call of the error service: recorded, never made to fail.
template <typename Result, typename... Arguments>
Result record(const char *name, Result (* /*own*/)(Arguments...), std::type_identity_t<Arguments>... arguments) {
    if (state.error_calls != nullptr && state.inside == 0) {
        state.error_calls->emplace_back(name + 3);
    }
    return real<Result(Arguments...)>(name)(arguments...);
}

}  // namespace

void spy::fail_call(int nth, Fault fault) {
    state.calls_to_fault = nth;
    state.fault = fault;
}

std::string spy::end_fault() {
    state.calls_to_fault = 0;
    return std::exchange(state.failed, {});
}

void spy::record_error_calls(std::vector<std::string> *calls) { state.error_calls = calls; }

int os_fexists(const char *path) { return pass(__func__, os_fexists, path); }
os_file *os_fopen(const char *path, const char *mode) { return pass(__func__, os_fopen, path, mode); }
int os_fgets(char *buffer, int size, os_file *file) { return pass(__func__, os_fgets, buffer, size, file); }
void os_fclose(os_file *file) { release(__func__, os_fclose, file); }
void os_free(void *block) { release(__func__, os_free, block); }
void *os_MMGetSpace(int size) { return pass(__func__, os_MMGetSpace, size); }
void os_MMFreeSpace(void *block) { release(__func__, os_MMFreeSpace, block); }
int os_MCFindMessage(int number) { return pass(__func__, os_MCFindMessage, number); }
void os_MCGetMessage(char *buffer, int length) { pass(__func__, os_MCGetMessage, buffer, length); }
void *mdc_malloc(size_t size) { return pass(__func__, mdc_malloc, size); }
void mdc_free(void *block) { release(__func__, mdc_free, block); }
size_t mdc_strlcpy(char *to, const char *from, size_t size) { return pass(__func__, mdc_strlcpy, to, from, size); }
int cust_GetCustomiseInfo(const char *key, const char **value) {
    return pass(__func__, cust_GetCustomiseInfo, key, value);
}
void nm_InitORN(char *orn, nm_index *index) { pass(__func__, nm_InitORN, orn, index); }
int nm_ParseORN(const char *orn, nm_index *index, uint32_t *presence) {
    return pass(__func__, nm_ParseORN, orn, index, presence);
}
void nm_GetFieldMaps(const nm_index *index, uint32_t *maps) { pass(__func__, nm_GetFieldMaps, index, maps); }
const char *nm_GetFieldMemPtr(const char *orn, const nm_index *index, int field, int *length) {
    return pass(__func__, nm_GetFieldMemPtr, orn, index, field, length);
}
void nm_PutFieldStr(char *orn, nm_index *index, int field, const char *text) {
    pass(__func__, nm_PutFieldStr, orn, index, field, text);
}
void nm_PutFieldMem(char *orn, nm_index *index, int field, const char *bytes, int length) {
    pass(__func__, nm_PutFieldMem, orn, index, field, bytes, length);
}
int akt_CheckORName(const char *orn) { return pass(__func__, akt_CheckORName, orn); }
int akt_CheckFieldsPresent(const uint32_t *maps) { return pass(__func__, akt_CheckFieldsPresent, maps); }
void cl_ReadDefMNode(int type, char *orn) { pass(__func__, cl_ReadDefMNode, type, orn); }
void cl_ConvClMntoORN(const char *text, char *orn, int form, int check, const ccs_descriptor *descriptor) {
    pass(__func__, cl_ConvClMntoORN, text, orn, form, check, descriptor);
}
const ccs_charset *ccs_GetICCharset2(const char *name, const char *family) {
    return pass(__func__, ccs_GetICCharset2, name, family);
}
const char *ccs_GetInternalCharset(const ccs_charset *charset, int kind) {
    return pass(__func__, ccs_GetInternalCharset, charset, kind);
}
int ccs_GetCSDescriptor(const char *name, ccs_descriptor *descriptor) {
    return pass(__func__, ccs_GetCSDescriptor, name, descriptor);
}
int cvc_ConvertString(int mode, int flags, const char *text, int32_t length, const char *source, const char *target,
                      char **converted, int32_t *converted_length, int *set, int *number, int *extra) {
    return pass(__func__, cvc_ConvertString, mode, flags, text, length, source, target, converted, converted_length,
                set, number, extra);
}

er_environment *er_SetCurrEnv(er_environment *environment) { return record(__func__, er_SetCurrEnv, environment); }
er_environment *er_GetCurrEnv() { return record(__func__, er_GetCurrEnv); }
void er_Clear() { record(__func__, er_Clear); }
void er_Accept(int level) { record(__func__, er_Accept, level); }
int er_GetLive() { return record(__func__, er_GetLive); }
void er_TraceBeforeJump(const char *file, int line) { record(__func__, er_TraceBeforeJump, file, line); }
void er_Jump(er_environment *environment, int value) {
    record(__func__, er_Jump, environment, value);
    __builtin_unreachable();
}
void er_RecordStatus(er_status *status) { record(__func__, er_RecordStatus, status); }
void er_RestoreStatus(const er_status *status) { record(__func__, er_RestoreStatus, status); }
