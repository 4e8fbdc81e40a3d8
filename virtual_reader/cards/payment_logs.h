// The logs of a payment card: what it approved, and how its balance and limits were changed.
#pragma once

#include <deque>

#include "cards/payment_transaction.h"

namespace virtual_reader {

// Record 1 is the newest; the oldest goes when a new one finds the file full.
class CyclicLog {
  public:
    explicit CyclicLog(std::size_t capacity) : capacity_(capacity) {}

    void add(Bytes record);
    const Bytes* record(std::size_t number) const;  // from 1

  private:
    std::size_t capacity_;
    std::deque<Bytes> records_;
};

// 45 bytes in the form of `transaction_log_form`, from what the terminal told. What it did not tell
// is zero.
Bytes transaction_log_record(const PaymentTransaction& transaction);

// Its data object list, as GET DATA 9F4F gives it.
Bytes transaction_log_form();

// 44 bytes: tag, value before and after, date, time, country, merchant, transaction counter.
Bytes load_log_record(const PaymentTransaction& transaction, Tag tag, View before, View after);

}  // namespace virtual_reader
