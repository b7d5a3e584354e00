#pragma once

#include <string>

#include "ZShared/ZExport.h"

// A broker's URL taken apart: mqtt://[user[:password]@]host[:port] (port 1883), or mqtts://
// (port 8883) for TLS, with the query options cafile=PATH (the CA to check the broker against) and
// passwordfile=PATH, joined by '&'. The password comes from the URL, else from the password file,
// else, when the URL names a user, from the environment variable ZBROKER_PASSWORD, so that it need
// not stand in a configuration file or on a command line.
//
// A password is a secret: Shown() and every error text leave it out, and Redact does the same for a
// URL that did not parse.
class Z_EXPORT ZBrokerAddress {
public:
    static constexpr const char* kPasswordVariable = "ZBROKER_PASSWORD";

    // False, with "<URL>: reason", for a URL that cannot be used or a password file that cannot be
    // read.
    bool Parse(const std::string& url, std::string& error);
    // The URL with its password, if any, written as "***".
    std::string Shown() const { return m_shown; }
    // The same for any text that may be a URL.
    static std::string Redact(const std::string& url);

    std::string m_host;
    int m_port = 1883;
    std::string m_user;
    std::string m_password;
    bool m_bTLS = false;
    std::string m_caFile;

private:
    std::string m_shown;
};
