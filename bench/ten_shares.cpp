// Ten shares asked at once, while they are fed and while they are not.
#include <atomic>
#include <thread>
#include <vector>

#include "bench/http_peer.h"
#include "bench/served_subjects.h"
#include "bench/stocked_index.h"

namespace bench {

namespace {

constexpr std::size_t shares = 10;
constexpr std::size_t finds_in_share = 200;
constexpr std::size_t lines_in_file = 1000;

/// Sends files of new objects for one share, each when the one before it is applied, until it goes.
class feeder {
public:
    feeder(const stocked_index& index, std::size_t share) : index_(index), share_(share) {}
    ~feeder() { stop_ = true; }

private:
    void feed() {
        http_client client(index_.port());
        while (!stop_) {
            client.exchange(index_.submission(next_file(), share_));
            client.exchange(index_.closing(transaction_of(client.body()), share_));
        }
    }
    std::string next_file() {
        const std::string prefix = "n" + std::to_string(share_) + "-";
        std::string lines;
        for (std::size_t line = 0; line < lines_in_file; ++line) {
            const std::string name = prefix + std::to_string(file_counter++);
            lines += stocked_index::file_line(name, "new", name);
        }
        return lines;
    }
    static std::string transaction_of(const std::string& answer) {
        const std::size_t begin = answer.find("\"id\":\"") + 6;
        return answer.substr(begin, answer.find('"', begin) - begin);
    }

    // Names that no feeder has given before.
    static inline std::atomic<std::size_t> file_counter{0};
    const stocked_index& index_;
    const std::size_t share_;
    std::atomic<bool> stop_{false};
    std::jthread thread_{[this] { feed(); }};
};

class ten_shares : public subject {
public:
    ten_shares(const stocked_index& index, bool fed) : index_(index), fed_(fed) {
        for (std::size_t share = 0; share < shares; ++share) {
            clients_.push_back(std::make_unique<http_client>(index.port()));
            std::vector<std::string>& requests = requests_.emplace_back();
            for (std::size_t i = 0; i < finds_in_share; ++i) {
                const std::string name = stocked_index::file_name(scattered(i, index.objects()));
                requests.push_back(index.find_by_path("/all/" + name, share));
            }
        }
    }

    std::size_t operations() const override { return shares * finds_in_share; }
    bool divisible() const override { return false; }
    void prepare() override {
        for (std::size_t share = 0; fed_ && share < shares; ++share)
            feeders_.push_back(std::make_unique<feeder>(index_, share));
    }
    void run(std::size_t, std::size_t) override {
        std::vector<std::jthread> askers;
        std::atomic<std::size_t> answered = 0;
        for (std::size_t share = 0; share < shares; ++share) {
            askers.emplace_back([&, share] {
                for (const std::string& request : requests_[share])
                    answered += clients_[share]->exchange(request).find("<resultItems") != std::string::npos;
            });
        }
        askers.clear();
        check(answered == operations(), "an answer is missing");
    }
    void finish() override { feeders_.clear(); }

private:
    const stocked_index& index_;
    const bool fed_;
    std::vector<std::unique_ptr<http_client>> clients_;
    std::vector<std::vector<std::string>> requests_;
    std::vector<std::unique_ptr<feeder>> feeders_;
};

}  // namespace

subject_ptr ten_shares_fed(const std::string& place, std::size_t objects) {
    return std::make_unique<ten_shares>(stocked_index::common(place, objects / shares, shares), true);
}

subject_ptr ten_shares_quiet(const std::string& place, std::size_t objects) {
    return std::make_unique<ten_shares>(stocked_index::common(place, objects / shares, shares), false);
}

}  // namespace bench
