// Served searches and their bounds.
#include "bench/served_subjects.h"

#include <optional>
#include <vector>

#include "bench/bare_lookup.h"
#include "bench/http_peer.h"
#include "bench/stocked_index.h"

namespace bench {

namespace {

constexpr std::size_t finds = 1000;
constexpr std::size_t browses = 20;
constexpr long long past_s = 1'700'000'001;

std::size_t items_in(const std::string& answer) {
    std::size_t count = 0;
    for (std::size_t at = answer.find("<resultItems"); at != std::string::npos;
         at = answer.find("<resultItems", at + 1))
        ++count;
    return count;
}

/// Sends prepared requests one after the other and checks that each answer has its items.
class served : public subject {
public:
    served(std::vector<std::string> requests, std::size_t items, unsigned short port)
        : requests_(std::move(requests)), items_(items), client_(port) {}

    std::size_t operations() const override { return requests_.size(); }
    void run(std::size_t from, std::size_t to) override {
        for (std::size_t i = from; i < to; ++i)
            bytes_ += client_.exchange(requests_[i]).size();
    }
    void finish() override {
        check(items_in(client_.exchange(requests_.back())) == items_, "the answer has not all its items");
    }

protected:
    std::vector<std::string> requests_;
    const std::size_t items_;
    http_client client_;
    std::size_t bytes_ = 0;
};

/// The same bytes to and fro, and a piece of work in place of the server's.
class bare : public subject {
public:
    bare(const stocked_index& index, std::vector<std::string> requests, std::function<void(std::size_t)> work)
        : requests_(std::move(requests)),
          peer_(requests_.front().size(), answer_to(index, requests_.front())),
          client_(peer_.port()),
          work_(std::move(work)) {}

    std::size_t operations() const override { return requests_.size(); }
    void run(std::size_t from, std::size_t to) override {
        for (std::size_t i = from; i < to; ++i) {
            client_.exchange(requests_.front());
            work_(i);
        }
    }

private:
    static std::string answer_to(const stocked_index& index, const std::string& request) {
        return http_client(index.port()).exchange(request);
    }
    std::vector<std::string> requests_;
    bare_peer peer_;
    http_client client_;
    std::function<void(std::size_t)> work_;
};

template <class Request>
std::vector<std::string> find_requests(const stocked_index& index, const Request& request) {
    std::vector<std::string> requests;
    for (std::size_t i = 0; i < finds; ++i)
        requests.push_back(request(scattered(i, index.objects())));
    return requests;
}

std::vector<std::string> path_requests(const stocked_index& index) {
    return find_requests(
        index, [&](std::size_t file) { return index.find_by_path("/all/" + stocked_index::file_name(file)); });
}

std::vector<std::string> guid_requests(const stocked_index& index) {
    return find_requests(index, [&](std::size_t file) { return index.find_by_guid(stocked_index::file_guid(file)); });
}

/// One page of the directory of all objects. A reader comes through all pages but the last before it: the place where
/// it then stands is what makes that one cheap, and no page is warmer than another.
class page_of_all : public served {
public:
    page_of_all(const stocked_index& index, std::size_t offset, long long at)
        : served({index.browse("/all", offset, at)}, page_size, index.port()), index_(index), at_(at) {}

    void prepare() override {
        for (std::size_t offset = 0; offset + page_size < index_.objects(); offset += page_size)
            client_.exchange(index_.browse("/all", offset, at_));
    }
    bool divisible() const override { return false; }

private:
    const stocked_index& index_;
    const long long at_;
};

subject_ptr page_at(const std::string& place, std::size_t objects, bool last, long long at) {
    const stocked_index& index = stocked_index::common(place, objects);
    check(objects % page_size == 0, "the objects do not fill their pages");
    return std::make_unique<page_of_all>(index, last ? objects - page_size : 0, at);
}

}  // namespace

subject_ptr served_find_path(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    return std::make_unique<served>(path_requests(index), 1, index.port());
}

subject_ptr bare_find_path(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    const auto lookup = std::make_shared<bare_lookup>(index.database(), index.share());
    return std::make_unique<bare>(index, path_requests(index), [lookup, objects](std::size_t i) {
        check(lookup->by_path("all", stocked_index::file_name(scattered(i, objects))), "no such path");
    });
}

subject_ptr served_find_guid(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    return std::make_unique<served>(guid_requests(index), 1, index.port());
}

subject_ptr bare_find_guid(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    const auto lookup = std::make_shared<bare_lookup>(index.database(), index.share());
    return std::make_unique<bare>(index, guid_requests(index), [lookup, objects](std::size_t i) {
        check(lookup->by_guid(stocked_index::file_guid(scattered(i, objects))), "no such GUID");
    });
}

subject_ptr served_browse(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    return std::make_unique<served>(std::vector<std::string>(browses, index.browse("/some", 0)), page_size,
                                    index.port());
}

subject_ptr bare_browse(const std::string& place, std::size_t objects) {
    const stocked_index& index = stocked_index::common(place, objects);
    const auto lookup = std::make_shared<bare_lookup>(index.database(), index.share());
    return std::make_unique<bare>(index, std::vector<std::string>(browses, index.browse("/some", 0)),
                                  [lookup](std::size_t) {
                                      const auto rows = lookup->page("some", page_size);
                                      check(items_in(bare_lookup::written(rows)) == page_size, "the page is not full");
                                  });
}

subject_ptr first_page(const std::string& place, std::size_t objects) {
    return page_at(place, objects, false, 0);
}

subject_ptr last_page(const std::string& place, std::size_t objects) {
    return page_at(place, objects, true, 0);
}

subject_ptr first_page_then(const std::string& place, std::size_t objects) {
    return page_at(place, objects, false, past_s);
}

subject_ptr last_page_then(const std::string& place, std::size_t objects) {
    return page_at(place, objects, true, past_s);
}

}  // namespace bench
