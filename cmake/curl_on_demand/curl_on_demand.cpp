// libcurl's functions, as far as this tree uses them, which load libcurl when one of them is first called. To
// be linked in libcurl's place: it brings some thirty libraries with it, whose loading would hold up the
// first picture on the screen, and whose symbols slow down every later search for others.
//
// Where libcurl cannot be loaded, they answer as libcurl does where there is no memory.

#include <curl/curl.h>
#include <dlfcn.h>

#include <cstdarg>

#include "platform/STBLogger.h"

namespace {

// The name of the interface that <curl/curl.h> declares, not of a version.
constexpr const char* file = "libcurl.so.4";

void* load() {
    void* const library = ::dlopen(file, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) {
        STBLogger_log(nullptr, "curl", 1, __LINE__, "cmake/curl_on_demand/curl_on_demand",
                      "Nothing can be fetched: %s", ::dlerror());
    }
    return library;
}

// libcurl's function of that name, or null.
template <typename Function>
Function* find(const char* name) {
    static void* const library = load();
    return library == nullptr ? nullptr : reinterpret_cast<Function*>(::dlsym(library, name));
}

} // namespace

// In braces behind it: what to do without libcurl.
#define FIND(function)                                                                                       \
    static const auto found = find<decltype(function)>(#function);                                           \
    if (found == nullptr)

extern "C" {

CURLcode curl_global_init(long flags) {
    FIND(curl_global_init) {
        return CURLE_FAILED_INIT;
    }
    return found(flags);
}

CURL* curl_easy_init() {
    FIND(curl_easy_init) {
        return nullptr;
    }
    return found();
}

void curl_easy_cleanup(CURL* handle) {
    FIND(curl_easy_cleanup) {
        return;
    }
    found(handle);
}

CURLcode curl_easy_perform(CURL* handle) {
    FIND(curl_easy_perform) {
        return CURLE_FAILED_INIT;
    }
    return found(handle);
}

// An option's number says of which type its value is.
CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    FIND(curl_easy_setopt) {
        return CURLE_FAILED_INIT;
    }
    va_list values;
    va_start(values, option);
    CURLcode result = CURLE_UNKNOWN_OPTION;
    // NOLINTNEXTLINE(bugprone-branch-clone): two of the types are the same on some machines
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        result = found(handle, option, va_arg(values, long));
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        result = found(handle, option, va_arg(values, curl_off_t));
    } else {
        result = found(handle, option, va_arg(values, void*));
    }
    va_end(values);
    return result;
}

CURLcode curl_easy_getinfo(CURL* handle, CURLINFO info, ...) {
    FIND(curl_easy_getinfo) {
        return CURLE_FAILED_INIT;
    }
    va_list places;
    va_start(places, info);
    void* const place = va_arg(places, void*);
    va_end(places);
    return found(handle, info, place);
}

const char* curl_easy_strerror(CURLcode code) {
    FIND(curl_easy_strerror) {
        return "libcurl is missing";
    }
    return found(code);
}

void curl_free(void* memory) {
    FIND(curl_free) {
        return;
    }
    found(memory);
}

curl_slist* curl_slist_append(curl_slist* list, const char* text) {
    FIND(curl_slist_append) {
        return nullptr;
    }
    return found(list, text);
}

void curl_slist_free_all(curl_slist* list) {
    FIND(curl_slist_free_all) {
        return;
    }
    found(list);
}

CURLU* curl_url() {
    FIND(curl_url) {
        return nullptr;
    }
    return found();
}

void curl_url_cleanup(CURLU* url) {
    FIND(curl_url_cleanup) {
        return;
    }
    found(url);
}

CURLUcode curl_url_get(CURLU* url, CURLUPart part, char** text, unsigned int flags) {
    FIND(curl_url_get) {
        return CURLUE_OUT_OF_MEMORY;
    }
    return found(url, part, text, flags);
}

CURLUcode curl_url_set(CURLU* url, CURLUPart part, const char* text, unsigned int flags) {
    FIND(curl_url_set) {
        return CURLUE_OUT_OF_MEMORY;
    }
    return found(url, part, text, flags);
}

} // extern "C"
