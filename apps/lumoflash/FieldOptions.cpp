// The one list of them.
#include "apps/lumoflash/FieldOptions.h"

namespace flash::app {

std::string OptionOf(host::Field field) {
    using host::Field;
    switch (field) {
        case Field::Device:
            return "--device";
        case Field::DevicesFolder:
            return "--devices";
        case Field::Plugin:
            return "--plugin";
        case Field::BaseAddress:
            return "--base";
        case Field::Verification:
            return "--verify";
    }
    return std::string(host::FieldName(field));
}

}  // namespace flash::app
