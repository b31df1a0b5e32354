#include "zan/pml/ntv_listvalue.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_logger.h"
#include "zan/pml/ntv_unit.h"

namespace zan::pml::ntv {

namespace {

// Children that are still to be copied, and where to.
struct CopyJob {
    std::vector<Unit*> const* from;
    ListValue* to;
};

}  // namespace

// By way of another constructor, so that what was copied goes when memory runs out.
ListValue::ListValue(std::vector<Unit*> const& units, Unit* owner) : ListValue(owner) {
    std::vector<CopyJob> jobs{{&units, this}};
    while (!jobs.empty()) {
        CopyJob const job = jobs.back();
        jobs.pop_back();
        job.to->data_.reserve(job.from->size());
        for (Unit const* const unit : *job.from) {
            Unit* const copy = ZAN_NEW(Unit(istr(unit->name_)));
            job.to->data_.push_back(copy);
            copy->type_ = unit->type_;
            if (ListValue const* const below = unit->list()) {
                auto* const units_ = ZAN_NEW(ListValue(copy));
                copy->value_ = units_;
                jobs.push_back(CopyJob{&below->data_, units_});
            } else if (unit->value_ != nullptr) {
                copy->value_ = unit->value_->clone();
                copy->setValueOwner();
            }
        }
        if (job.to != this) job.to->owner()->indexChildren();
    }
}

ListValue::~ListValue() {
    clear();
}

// Goes down into lists by hand, so that no destructor goes deeper than one level. The way back
// stands in the units, which are about to go: the index is the place in their list, the parent is
// null below this list itself.
void ListValue::clear() {
    ListValue* units = this;
    for (unsigned long i = 0;;) {
        if (i == units->data_.size()) {
            units->data_.clear();
            if (units == this) return;
            Unit* const done = units->owner();
            units = done->parent_ == nullptr ? this : done->parent_->list();
            i = done->index_ + 1;
            ZAN_DELETE(done);
            continue;
        }
        Unit* const unit = units->data_[i];
        ListValue* const below = unit->list();
        if (below == nullptr || below->data_.empty()) {
            ZAN_DELETE(unit);
            ++i;
            continue;
        }
        below->owner() = unit;
        unit->parent_ = units == this ? nullptr : units->owner();
        unit->index_ = i;
        units = below;
        i = 0;
    }
}

ListValue& ListValue::push_back(Unit* const& unit) {
    ZAN_ASSERT_TEXT_DO(unit != nullptr, "_v!=0", "return *this", return *this);
    data_.push_back(unit);
    return *this;
}

Unit* ListValue::at(unsigned long n) const {
    if (n < data_.size()) return data_[n];
    ZAN_ERROR(zan::detail::zanLogger(), "Index too large: " << n);
    return nullptr;
}

ListValue* ListValue::clone() const {
    return ZAN_NEW(ListValue(data_));
}

dumper& ListValue::dump(dumper& d) const {
    Unit::dump(d, nullptr, this);
    return d;
}

std::ostream& ListValue::dump(std::ostream& os) const {
    for (Unit const* const unit : data_) os << *unit << std::endl;
    return os;
}

}  // namespace zan::pml::ntv
