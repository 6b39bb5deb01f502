#include "inc/private/pthread_helper.h"

#include <cstdio>
#include <string>

#include "src/system/STBBackTrace.h"

void pthread_helper::mutex::fail(const char* condition, int result, int line) const {
    const std::string rule(88, '=');
    printf("%s\n ASSERT (%s) ret=%d on %s:%d, this:%p\n%s\n", rule.c_str(), condition, result,
           "inc/private/pthread_helper", line, static_cast<const void*>(this), rule.c_str());
    STBBackTrace::printStack(stdout);
    printf("%s\n", rule.c_str());
    fflush(stdout);
    STBBackTrace::killProcess();
}
