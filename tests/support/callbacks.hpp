#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "net/http/http.hpp"

/// Records the fractions that a progress callback is told.
class ProgressRecorder {
public:
    /// @param order  When given, takes `name` at every call: one list for several recorders.
    explicit ProgressRecorder(std::vector<std::string>* order = nullptr, std::string name = "")
        : callback_(Ref<Callback>::make(order, std::move(name))) {}
    [[nodiscard]] Ref<Libraries::Networks::HTTP::Client::ProgressCallback> callback() const {
        return callback_;
    }
    [[nodiscard]] const std::vector<double>& fractions() const { return callback_->fractions; }

private:
    class Callback final : public Object,
                           public virtual Libraries::Networks::HTTP::Client::ProgressCallback {
    public:
        Callback(std::vector<std::string>* order, std::string name)
            : order_(order), name_(std::move(name)) {}
        void progress(double fraction) override {
            fractions.push_back(fraction);
            if (order_ != nullptr) {
                order_->push_back(name_);
            }
        }
        std::vector<double> fractions;

    private:
        std::vector<std::string>* order_;
        std::string name_;
    };
    Ref<Callback> callback_;
};

/// A cancel query that answers the given values from its `from`th call on (from 1), and nothing
/// before.
class CancelStub {
public:
    using Query = Libraries::Networks::HTTP::Client::CancelQuery;

    explicit CancelStub(unsigned from, std::vector<Query::Value> answer = {{1, 1}})
        : query_(Ref<Stub>::make(from, std::move(answer))) {}
    [[nodiscard]] Ref<Query> query() const { return query_; }
    [[nodiscard]] unsigned calls() const { return query_->calls; }
    /// Answers the argument of the last call.
    [[nodiscard]] std::uint64_t argument() const { return query_->argument; }
    /// Tells whether every call came with empty lists.
    [[nodiscard]] bool listsWereEmpty() const { return query_->listsWereEmpty; }

private:
    class Stub final : public Object, public virtual Query {
    public:
        Stub(unsigned from, std::vector<Value> answer) : from_(from), answer_(std::move(answer)) {}
        void invoke(Values& result, std::uint64_t given, const Values& arguments) override {
            ++calls;
            argument = given;
            listsWereEmpty = listsWereEmpty && result.empty() && arguments.empty();
            if (calls >= from_) {
                result.assign(answer_.begin(), answer_.end());
            }
        }
        unsigned calls = 0;
        std::uint64_t argument = 0;
        bool listsWereEmpty = true;

    private:
        unsigned from_;
        std::vector<Value> answer_;
    };
    Ref<Stub> query_;
};
