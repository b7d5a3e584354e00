#pragma once

#include <string>
#include <vector>

#include "ZShared/ZExport.h"

// A broker's URL taken apart: mqtt://[user[:password]@]host[:port] (port 1883), or mqtts://
// (port 8883) for TLS, with the query options cafile=PATH (the CA to check the broker against) and
// passwordfile=PATH, joined by '&'. The password comes from the URL, else from the password file,
// else, when the URL names a user, from the environment variable ZBROKER_PASSWORD, so that it need
// not stand in a configuration file or on a command line.
//
// "TransportURL" may list several brokers separated by commas (ParseList); a comma in a password is
// written %2C.
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
    // The same for any text that may be a URL or a list of them.
    static std::string Redact(const std::string& text);
    // A list of brokers, separated by commas (blanks around them are ignored); every one must
    // parse, and all must share the scheme and the CA file. False, with the first error.
    static bool ParseList(const std::string& urls, std::vector<ZBrokerAddress>& addresses,
                          std::string& error);

    std::string m_host;
    int m_port = 1883;
    std::string m_user;
    std::string m_password;
    bool m_bTLS = false;
    std::string m_caFile;

private:
    static std::string RedactOne(const std::string& url);

    std::string m_shown;
};
