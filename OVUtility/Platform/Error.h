// ov::Error: the library's error value (the platform's NSError): a domain, a
// code and a human-readable message, plus optional user info as JSON.
//
//   ov::Error e{"com.orvanta.task", 3, "expired"};
//   std::optional<ov::Error> failure = e;
//
// Errors are values: copy them freely, compare them by domain and code.
#pragma once

#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

struct OV_API Error {
    std::string domain;
    long code = 0;
    std::string message;
    nlohmann::json userInfo = nlohmann::json::object();

    Error() = default;
    Error(std::string domain, long code, std::string message = {},
          nlohmann::json userInfo = nlohmann::json::object())
        : domain(std::move(domain)),
          code(code),
          message(std::move(message)),
          userInfo(std::move(userInfo)) {}

    // Two errors are the same error when domain and code agree.
    friend bool operator==(const Error& a, const Error& b) {
        return a.domain == b.domain && a.code == b.code;
    }

    std::string description() const {
        return "Error Domain=" + domain + " Code=" + std::to_string(code) +
               (message.empty() ? std::string{} : " \"" + message + "\"");
    }
    friend std::ostream& operator<<(std::ostream& os, const Error& e) {
        return os << e.description();
    }
};

}  // namespace ov
