// Who this process and its shares are, and the settings: the part of the deployment that start-up asks.
#pragma once

#include <string>

#include "host/visibility.h"

/// The instance whose settings apply.
class IIF_HOST_API ZYPI_Focus {
public:
    /// The text of the current instance. Valid for the life of the process.
    static const char* getFocus();
};

/// A view of the host's settings, focused on one instance. Made and used by one thread.
class IIF_HOST_API ZYPlatformInfo {
public:
    ZYPlatformInfo();
    ~ZYPlatformInfo();

    /// Selects whose settings are read.
    void setFocus(const char* focus);

    /// The name of the focus client, or null when there is none. Valid as long as this object.
    const char* getPhysicalMachine() const;

    /// Reads a number. Returns 0 when the setting is there; otherwise `value` is left alone.
    int getNumber(const char* section, const char* key, unsigned& value) const;

private:
    std::string focus_;
    std::string machine_;
};

/// A client of the deployment. Objects come from ApplicationId::getClient, which keeps them, or from the
/// constructor, which hands them to the caller; only the caller's own are released by the caller.
class IIF_HOST_API ZYClient {
public:
    explicit ZYClient(unsigned long client_id);

    /// Writes the numeric id. Returns 0 on success.
    int getClientId(unsigned long& client_id) const;
    /// Writes the job results directory. Returns 0 on success.
    int getJobResultsDirectory(std::string& directory) const;
    /// Writes the host name in the form that transactions carry. Returns 0 on success.
    int getMangledHostName(std::string& host_name) const;
    /// Disposes of the object, which came from `new`.
    void release();

private:
    unsigned long client_id_;
};

/// The share as the deployment knows it. Owned by its ApplicationId.
class IIF_HOST_API Subclient {
public:
    explicit Subclient(unsigned long subclient_id);

    /// Writes the id, host name and base URL of the client that runs the web service. The last argument is null.
    /// Returns 0 on success.
    int getMarlWebServerDetails(int& client_id, std::string& host_name, std::string& url, void* reserved) const;

private:
    unsigned long subclient_id_;
};

/// Stands for one subclient. Made with `new`, disposed of by `release`.
class IIF_HOST_API ApplicationId {
public:
    /// `type` is 2 for a subclient.
    ApplicationId(unsigned long type, unsigned long id);

    /// The client of the subclient, or null when the deployment knows none. Owned by this object.
    ZYClient* getClient(void* reserved);
    /// The subclient, or null when the deployment knows none. Owned by this object.
    Subclient* getSubclient(void* reserved);
    /// Disposes of the object and of what it returned.
    void release();

private:
    ~ApplicationId();
    unsigned long subclient_id_;
    ZYClient* client_ = nullptr;
    Subclient* subclient_ = nullptr;
};
