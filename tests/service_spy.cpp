// The interposed service functions, one line each. The log's are left alone: they never raise.

#include "service_spy.h"

#include <dlfcn.h>

#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "akt.h"
#include "ccs.h"
#include "cl.h"
#include "cust.h"
#include "cvc.h"
#include "da.h"
#include "dr.h"
#include "dstring.h"
#include "er.h"
#include "inet.h"
#include "mdc.h"
#include "mes.h"
#include "nm.h"
#include "os.h"
#include "q.h"
#include "str.h"
#include "t61.h"

namespace {

struct State {
    int calls_to_fault = 0;  // 0: none is put in
    spy::Fault fault = spy::Fault::kRecoverable;
    std::string failed;
    int inside = 0;  // depth of service calls: what a service calls itself is its own affair
    int own = 0;     // depth of the test's own code in there
    std::vector<std::string> *error_calls = nullptr;
};
State state;

bool is_of_memory(spy::Fault fault) { return fault == spy::Fault::kAllocation || fault == spy::Fault::kAllocations; }

// Whether the allocation that comes is to fail.
bool must_fail_allocation(const char *name) {
    if (state.calls_to_fault == 0 || !is_of_memory(state.fault) || state.own > 0 || --state.calls_to_fault > 0) {
        return false;
    }
    state.calls_to_fault = state.fault == spy::Fault::kAllocations ? 1 : 0;
    const spy::OwnMemory guard;
    state.failed = name;
    return true;
}

void count_call(const char *name) {
    if (is_of_memory(state.fault) || state.inside > 0 || state.calls_to_fault == 0 || --state.calls_to_fault > 0) {
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

// A call that allocates.
template <typename Result, typename Argument>
Result allocate(const char *name, Result (*own)(Argument), std::type_identity_t<Argument> argument) {
    if (must_fail_allocation(name)) {
        er_PersistentEscape(spy::kMemorySet, spy::kMemoryNumber, "spy", __LINE__);
    }
    return pass(name, own, argument);
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
    state.failed.clear();
}

std::string spy::end_fault() {
    state.calls_to_fault = 0;
    return std::exchange(state.failed, {});
}

spy::OwnMemory::OwnMemory() { ++state.own; }
spy::OwnMemory::~OwnMemory() { --state.own; }

// The heap of the whole program; only what the services take can be made to fail.
void *operator new(size_t size) {
    if (state.inside > 0 && must_fail_allocation("operator new")) {
        throw std::bad_alloc{};
    }
    if (void *block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc{};
}
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, size_t /*size*/) noexcept { std::free(block); }

void spy::record_error_calls(std::vector<std::string> *calls) { state.error_calls = calls; }

int os_fexists(const char *path) { return pass(__func__, os_fexists, path); }
os_file *os_fopen(const char *path, const char *mode) { return pass(__func__, os_fopen, path, mode); }
int os_fgets(char *buffer, int size, os_file *file) { return pass(__func__, os_fgets, buffer, size, file); }
void os_fclose(os_file *file) { release(__func__, os_fclose, file); }
os_file *os_fdopen(int descriptor, const char *mode) { return pass(__func__, os_fdopen, descriptor, mode); }
char *os_fline(os_file *file, int limit, int *length) { return pass(__func__, os_fline, file, limit, length); }
size_t os_fwrite(const void *bytes, size_t size, size_t count, os_file *file) {
    return pass(__func__, os_fwrite, bytes, size, count, file);
}
char *os_freserve(os_file *file, size_t size) { return pass(__func__, os_freserve, file, size); }
void os_fcommit(os_file *file, size_t length) { pass(__func__, os_fcommit, file, length); }
int os_fflush(os_file *file) { return pass(__func__, os_fflush, file); }
int os_read(int descriptor, void *buffer, int size) { return pass(__func__, os_read, descriptor, buffer, size); }
int os_write(int descriptor, const void *bytes, int size) {
    return pass(__func__, os_write, descriptor, bytes, size);
}
int os_open(const char *path, int flags) { return pass(__func__, os_open, path, flags); }
void *os_malloc(size_t size) { return allocate(__func__, os_malloc, size); }
void os_free(void *block) { release(__func__, os_free, block); }
char *os_strdup(const char *text) { return allocate(__func__, os_strdup, text); }
void *os_MMGetSpace(int size) { return allocate(__func__, os_MMGetSpace, size); }
void os_MMFreeSpace(void *block) { release(__func__, os_MMFreeSpace, block); }
int os_MCFindMessage(int number) { return pass(__func__, os_MCFindMessage, number); }
void os_MCGetMessage(char *buffer, int length) { pass(__func__, os_MCGetMessage, buffer, length); }
int os_gethostname(char *buffer, int size) { return pass(__func__, os_gethostname, buffer, size); }
void *mdc_malloc(size_t size) { return allocate(__func__, mdc_malloc, size); }
void mdc_free(void *block) { release(__func__, mdc_free, block); }
size_t mdc_strlcpy(char *to, const char *from, size_t size) { return pass(__func__, mdc_strlcpy, to, from, size); }
int64_t mdc_lseek(int descriptor, int64_t offset, int origin) {
    return pass(__func__, mdc_lseek, descriptor, offset, origin);
}
int64_t mdc_read(int descriptor, void *buffer, size_t count) {
    return pass(__func__, mdc_read, descriptor, buffer, count);
}
void mdc_close(int descriptor) { release(__func__, mdc_close, descriptor); }
int mdc_gethostbyname(const char *name, char *official, size_t size) {
    return pass(__func__, mdc_gethostbyname, name, official, size);
}
int mes_GetAnyMsg2(int set, int number, char *buffer, int size, const char *charset) {
    return pass(__func__, mes_GetAnyMsg2, set, number, buffer, size, charset);
}
int inet_AutoIamOn() { return pass(__func__, inet_AutoIamOn); }
int cust_GetCustomiseInfo(const char *key, const char **value) {
    return pass(__func__, cust_GetCustomiseInfo, key, value);
}
int cust_PresentAndTrue(const char *key) { return pass(__func__, cust_PresentAndTrue, key); }
int cust_PresentAndFalse(const char *key) { return pass(__func__, cust_PresentAndFalse, key); }
const char *cust_GetString(const char *key, const char *fallback, int unused1, int unused2) {
    return pass(__func__, cust_GetString, key, fallback, unused1, unused2);
}
void nm_InitORN(char *orn, nm_index *index) { pass(__func__, nm_InitORN, orn, index); }
int nm_ParseORN(const char *orn, nm_index *index, uint32_t *presence) {
    return pass(__func__, nm_ParseORN, orn, index, presence);
}
void nm_GetFieldMaps(const nm_index *index, uint32_t *maps) { pass(__func__, nm_GetFieldMaps, index, maps); }
void nm_GetFieldStr(const char *orn, const nm_index *index, int field, char *destination, int capacity) {
    pass(__func__, nm_GetFieldStr, orn, index, field, destination, capacity);
}
const char *nm_GetFieldMemPtr(const char *orn, const nm_index *index, int field, int *length) {
    return pass(__func__, nm_GetFieldMemPtr, orn, index, field, length);
}
void nm_PutFieldStr(char *orn, nm_index *index, int field, const char *text) {
    pass(__func__, nm_PutFieldStr, orn, index, field, text);
}
void nm_PutFieldMem(char *orn, nm_index *index, int field, const char *bytes, int length) {
    pass(__func__, nm_PutFieldMem, orn, index, field, bytes, length);
}
int nm_GetCorrT61FNum(int field) { return pass(__func__, nm_GetCorrT61FNum, field); }
void nm_FormatLogORN(const char *orn, char *destination) { pass(__func__, nm_FormatLogORN, orn, destination); }
int akt_CheckORName(const char *orn) { return pass(__func__, akt_CheckORName, orn); }
int akt_CheckFieldsPresent(const uint32_t *maps) { return pass(__func__, akt_CheckFieldsPresent, maps); }
int akt_CheckRoutable(const char *orn, akt_route *result) { return pass(__func__, akt_CheckRoutable, orn, result); }
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
int16_t cvc_CnvString(int mode, int flags, const char *text, int32_t length, const char *source, const char *target,
                      char **converted, int32_t *converted_length, int *lost, int purpose) {
    return pass(__func__, cvc_CnvString, mode, flags, text, length, source, target, converted, converted_length, lost,
                purpose);
}
const char *cvc_iconvCharsetEquiv(const char *name, int flags) {
    return pass(__func__, cvc_iconvCharsetEquiv, name, flags);
}
const char *ccs_GetNextMimeUnit(const char *text, int length, const ccs_descriptor *charset, int first,
                                int *unit_state, int *unit_length) {
    return pass(__func__, ccs_GetNextMimeUnit, text, length, charset, first, unit_state, unit_length);
}
const char *ccs_GetConfAsciiEscs(const ccs_descriptor *charset, int kind, int *length) {
    return pass(__func__, ccs_GetConfAsciiEscs, charset, kind, length);
}
void ccs_Get1CfgEsc(int code_page, int kind, char *buffer, int flags) {
    pass(__func__, ccs_Get1CfgEsc, code_page, kind, buffer, flags);
}
int16_t ccs_GetCP(int which, int32_t *scratch) { return pass(__func__, ccs_GetCP, which, scratch); }
int ccs_GetCSFlags(const ccs_descriptor *descriptor) { return pass(__func__, ccs_GetCSFlags, descriptor); }
int16_t ccs_GetNumBytes(const ccs_descriptor *descriptor) { return pass(__func__, ccs_GetNumBytes, descriptor); }
const char *ccs_GetCSName(const ccs_descriptor *descriptor) { return pass(__func__, ccs_GetCSName, descriptor); }
int cvc_IsMappingAvail(const char *source, const char *target) {
    return pass(__func__, cvc_IsMappingAvail, source, target);
}
int cvc_iconv_recognised_charset(const char *name) { return pass(__func__, cvc_iconv_recognised_charset, name); }
const char *t61_RealParseStr(const char *text, int length, int kind) {
    return pass(__func__, t61_RealParseStr, text, length, kind);
}
int ccs_Is7BitAscii(const char *text, int length) { return pass(__func__, ccs_Is7BitAscii, text, length); }
int inet_is2047Encoded(const char *value) { return pass(__func__, inet_is2047Encoded, value); }
void inet_encodeHeader(const char *charset, int flags, const char *text, char encoding, int32_t column,
                       dstring *out) {
    pass(__func__, inet_encodeHeader, charset, flags, text, encoding, column, out);
}
void inet_text2Q(const char *bytes, int32_t length, char *out) { pass(__func__, inet_text2Q, bytes, length, out); }
void inet_bin2base64(const char *bytes, int32_t length, char *out) {
    pass(__func__, inet_bin2base64, bytes, length, out);
}
int inet_base642bin(const char *text, int32_t length, char *out, int32_t *decoded_length) {
    return pass(__func__, inet_base642bin, text, length, out, decoded_length);
}
void dstring_init(dstring *string) { pass(__func__, dstring_init, string); }
void dstring_free(dstring *string) { release(__func__, dstring_free, string); }
void dstring_set(dstring *string, const char *text) { pass(__func__, dstring_set, string, text); }
void dstring_set1(dstring *string, const char *text) { pass(__func__, dstring_set1, string, text); }
void dstring_setN(dstring *string, const char *bytes, int32_t length) {
    pass(__func__, dstring_setN, string, bytes, length);
}
void dstring_append1(dstring *string, const char *text) { pass(__func__, dstring_append1, string, text); }
void dstring_appendN(dstring *string, const char *bytes, int32_t length) {
    pass(__func__, dstring_appendN, string, bytes, length);
}
void dstring_setLength(dstring *string, int32_t length) { pass(__func__, dstring_setLength, string, length); }
const char *t61_ParseO61Str(const char *text, int length) { return pass(__func__, t61_ParseO61Str, text, length); }
int str_SplitByDispLen(const char *text, int count, const ccs_descriptor *charset, int *length) {
    return pass(__func__, str_SplitByDispLen, text, count, charset, length);
}
void da_InitAttribList(da_list *list) { pass(__func__, da_InitAttribList, list); }
void da_AddAttribToList(da_list *list, int capacity, const char *name, const char *value) {
    pass(__func__, da_AddAttribToList, list, capacity, name, value);
}
int da_ConvORNToAttribList(const char *orn, da_list *list) {
    return pass(__func__, da_ConvORNToAttribList, orn, list);
}
int da_ConvAttribListToORN(const da_list *list, char *orn) {
    return pass(__func__, da_ConvAttribListToORN, list, orn);
}
int da_ParseAttribList(const da_entry *entry, da_list *list) {
    return pass(__func__, da_ParseAttribList, entry, list);
}
const da_attribute *da_GetAttrib(const da_list *list, int number) {
    return pass(__func__, da_GetAttrib, list, number);
}
int da_ParseEntry2(const char *text, da_list *list, int unused1, int unused2, int unused3, int unused4) {
    return pass(__func__, da_ParseEntry2, text, list, unused1, unused2, unused3, unused4);
}
int da_MaskEntry(da_list *list, const da_list *mask) { return pass(__func__, da_MaskEntry, list, mask); }
int16_t dr_OpenDir(int16_t server, int mode, const char *name, const char *password) {
    return pass(__func__, dr_OpenDir, server, mode, name, password);
}
void dr_CloseDir(int16_t directory) { release(__func__, dr_CloseDir, directory); }
int dr_Search(int16_t directory, const char *base, const char *scope, const da_list *filter, int flags, int kind,
              const char *wanted, const da_entry **entry, const char *order, int max, int time_limit, int *count) {
    return pass(__func__, dr_Search, directory, base, scope, filter, flags, kind, wanted, entry, order, max,
                time_limit, count);
}
void dr_SetFilterModifier(int modifier) { pass(__func__, dr_SetFilterModifier, modifier); }
int Q_NamesMatch(const char *a, const char *b) { return pass(__func__, Q_NamesMatch, a, b); }

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
