// The text of an exception, for comparing it in one line with what a user is to read.
#pragma once

#include <exception>
#include <string>
#include <typeinfo>

namespace flash::test {

// What `work` throws as exactly `Exception`; otherwise a text that says what happened instead.
template <typename Exception, typename Work>
std::string ThrownText(Work work) {
    try {
        work();
    } catch (const Exception& error) {
        return typeid(error) == typeid(Exception) ? error.what() : std::string("(derived) ") + error.what();
    } catch (const std::exception& error) {
        return std::string("(another type) ") + error.what();
    }
    return "(nothing thrown)";
}

}  // namespace flash::test
