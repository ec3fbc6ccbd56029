// The collection service: one file per transaction.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "host/errors.h"
#include "host/visibility.h"

namespace App {
/// State of a transaction.
enum ProcessingStatus : int {
    ProcessingStatus_UNKNOWN = 0,
    ProcessingStatus_QUEUED = 1,
    ProcessingStatus_PROCESSING = 2,
    ProcessingStatus_COMPLETED = 3,
    ProcessingStatus_FAILED = 4,
    ProcessingStatus_CLOSED = 5,
};
}  // namespace App

/// Kind of work that a transaction stands for; the library passes 28.
enum EScanJobType : int { EScanJobType_INDEX_FEED = 28 };

/// Callbacks of a host that collects through other means; the library passes empty pointers.
class CHandleNewMarlFiles;
class CAbortOperationCheck;
/// Control of a running job; the library passes null.
class CJobControl;

/// The way to the collection service for one share. One caller at a time.
class IIF_HOST_API CMarlCollectHandler {
public:
    CMarlCollectHandler(std::uint64_t job_id, std::uint64_t subclient_id, const std::string& mangled_host_name,
                        const std::string& web_url, const std::string& extra, CJobControl* job_control,
                        std::uint64_t client_id, const std::string& focus_client_name,
                        const std::string& job_results_directory);
    ~CMarlCollectHandler();
    CMarlCollectHandler(const CMarlCollectHandler&) = delete;
    CMarlCollectHandler& operator=(const CMarlCollectHandler&) = delete;

    /// Level of the handler's own log lines.
    void SetLogLevel(int level);

    /// Hands over the files as a new transaction. The code 3021 says that an earlier transaction is still open.
    /// `append` is false.
    CXoError SubmitNewTransaction(App::ProcessingStatus& status, EScanJobType job_type,
                                  const std::vector<std::string>& files, bool append);

    /// Blocks until the transaction has an outcome, which `status` tells. `until_outcome` is true; `poll_ms` is the
    /// longest pause between two looks at the service.
    CXoError WaitForTransaction(App::ProcessingStatus& status, bool until_outcome,
                                const boost::shared_ptr<CHandleNewMarlFiles>& new_files,
                                const boost::shared_ptr<CAbortOperationCheck>& abort_check, int poll_ms,
                                EScanJobType job_type);

    /// The latest transaction of the share that the service knows.
    CXoError QueryLastTransaction(std::string& transaction_id, App::ProcessingStatus& status,
                                  const boost::shared_ptr<CAbortOperationCheck>& abort_check);

    /// Ends a transaction that was left open.
    CXoError CloseTransaction(const std::string& transaction_id);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
