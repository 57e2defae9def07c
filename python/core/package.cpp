#include "package.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageforms.h>
#include <korvininspect/packagejson.h>
#include <packagerequestcombination.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>
#include <vector>

using namespace KorvinInspect;

namespace KorvinPython {

/// A field and its property.
struct FieldBinding
{
    const PackageField *field;
    std::string name;   ///< In Python's spelling.
    py::handle members; ///< Of a code: its enumerators, by the names of the codes.
    PyObject *key;      ///< The name as a Python text.
};

/// A class of packages and its Python class.
struct ClassBinding
{
    const PackageClass *row;
    std::unique_ptr<PackageBase> defaults;
    std::vector<FieldBinding> fields;
    PyTypeObject *type = nullptr; ///< Lives as long as the process.

    bool isA(const ClassBinding &other) const { return other.row->isClassOf(defaults.get()); }
};

namespace {

using value_and_holder = py::detail::value_and_holder;

/// The classes, in the order of packageClasses().
std::vector<std::unique_ptr<ClassBinding>> bindings; // NOLINT(*-non-const-global-variables)

/// Returns the class that a Python class is, or derives from.
const ClassBinding &bindingOf(PyTypeObject *type)
{
    PyObject *mro = type->tp_mro;
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(mro); ++i) {
        for (const auto &binding : bindings) {
            if (PyTuple_GET_ITEM(mro, i) == reinterpret_cast<PyObject *>(binding->type))
                return *binding;
        }
    }
    throw py::type_error(std::string(type->tp_name) + " is not a class of packages");
}

const ClassBinding &bindingOf(const py::type &type)
{
    return bindingOf(reinterpret_cast<PyTypeObject *>(type.ptr()));
}

const ClassBinding &bindingOf(ClassId id)
{
    return *bindings.at(static_cast<std::size_t>(packageClass(id) - packageClasses().data()));
}

// Values of fields.

py::object integerFrom(const QJsonValue &value)
{
    if (value.isDouble())
        return py::int_(static_cast<qint64>(value.toDouble()));
    const QByteArray digits = value.toString().toLatin1();
    return py::reinterpret_steal<py::object>(PyLong_FromString(digits.constData(), nullptr, 10));
}

py::object valueOf(const FieldBinding &binding, const PackageBase &package)
{
    if (binding.field->valueType == ValueType::Data)
        return toPython(package.data());
    const QJsonValue value = binding.field->get(package);
    switch (binding.field->valueType) {
    case ValueType::Text:
        return toPython(value.toString());
    case ValueType::Flag:
        return py::bool_(value.toBool());
    case ValueType::Code:
        return value.isString() ? py::object(binding.members[toPython(value.toString())])
                                : integerFrom(value);
    default:
        return integerFrom(value);
    }
}

/// Returns a number for the setter of a field, which compares it with the range.
QJsonValue jsonOfNumber(py::handle value)
{
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!index)
        throw py::error_already_set();
    int overflow = 0;
    const qint64 number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    constexpr qint64 LargestExact = (qint64(1) << 53) - 1; // of the numbers of JSON
    if (overflow == 0 && number >= -LargestExact && number <= LargestExact)
        return static_cast<double>(number);
    if (overflow == 0)
        return QString::number(number);
    const quint64 large = PyLong_AsUnsignedLongLong(index.ptr());
    if (!PyErr_Occurred())
        return QString::number(large);
    PyErr_Clear();
    return overflow > 0 ? QStringLiteral("a number above 2^64") : QStringLiteral("below -2^63");
}

QJsonValue jsonOf(const FieldBinding &binding, py::handle value)
{
    switch (binding.field->valueType) {
    case ValueType::Text:
        return textFrom(value);
    case ValueType::Flag:
        if (!PyBool_Check(value.ptr()))
            throw py::type_error(binding.name + ": expected True or False");
        return value.is(py::handle(Py_True));
    default:
        return jsonOfNumber(value);
    }
}

void setValue(const FieldBinding &binding, PackageBase &package, py::handle value)
{
    if (binding.field->valueType == ValueType::Data) {
        package.setData(bytesFrom(value));
        return;
    }
    const QString fault = binding.field->set(package, jsonOf(binding, value));
    if (!fault.isEmpty())
        failValue(QString::fromStdString(binding.name) + QLatin1String(": ") + fault);
}

bool isSame(const FieldBinding &binding, const PackageBase &first, const PackageBase &second)
{
    if (binding.field->valueType == ValueType::Data)
        return first.data() == second.data();
    return binding.field->get(first) == binding.field->get(second);
}

/// Sets fields by their names. Lengths that are not among them become the size of the data, if that
/// is.
void setFields(const ClassBinding &itsClass, PackageBase &package, const py::dict &fields)
{
    Py_ssize_t left = PyDict_Size(fields.ptr());
    bool hasData = false;
    const auto given = [&](const FieldBinding &binding) {
        return py::handle(PyDict_GetItemWithError(fields.ptr(), binding.key));
    };
    for (const FieldBinding &binding : itsClass.fields) {
        const py::handle value = given(binding);
        if (!value)
            continue;
        const auto kept = py::reinterpret_borrow<py::object>(value);
        setValue(binding, package, kept);
        hasData = hasData || binding.field->valueType == ValueType::Data;
        --left;
    }
    if (left != 0) {
        for (const auto &[name, value] : fields) {
            const auto isName = [&name = name](const FieldBinding &binding) {
                return name.equal(py::handle(binding.key));
            };
            if (std::none_of(itsClass.fields.begin(), itsClass.fields.end(), isName)) {
                throw py::type_error(itsClass.row->name.toStdString() + " has no field "
                                     + py::repr(name).cast<std::string>());
            }
        }
    }
    for (const FieldBinding &binding : itsClass.fields) {
        if (hasData && binding.field->valueType == ValueType::Length && !given(binding))
            binding.field->set(package, package.data().size());
    }
}

/// Returns the fields that make a package of the class equal to @p package.
py::dict changedFields(const ClassBinding &itsClass, const PackageBase &package)
{
    py::dict changed;
    const bool hasData = !package.data().isEmpty();
    for (const FieldBinding &binding : itsClass.fields) {
        const bool isKnownLength = hasData && binding.field->valueType == ValueType::Length;
        if (isKnownLength || !isSame(binding, package, *itsClass.defaults))
            changed[py::handle(binding.key)] = valueOf(binding, package);
    }
    return changed;
}

/// Sets all fields to those of another package, which shares texts and data with it until one of
/// both changes.
void setAllFields(const ClassBinding &itsClass, PackageBase &package, const PackageBase &other)
{
    for (const FieldBinding &binding : itsClass.fields) {
        if (binding.field->valueType == ValueType::Data)
            package.setData(other.data());
        else
            binding.field->set(package, binding.field->get(other));
    }
}

std::unique_ptr<PackageBase> copyOf(const ClassBinding &itsClass, const PackageBase &package)
{
    std::unique_ptr<PackageBase> copy = itsClass.row->create();
    setAllFields(itsClass, *copy, package);
    return copy;
}

// Python objects.

// What pybind11 makes objects with, and calls classes with.
newfunc makeObjectOfPybind = nullptr;    // NOLINT(*-non-const-global-variables)
ternaryfunc callClassOfPybind = nullptr; // NOLINT(*-non-const-global-variables)

/// Returns whether a Python class has a C++ class; raises TypeError if not. pybind11 ends the
/// process for such a class, or reads past the end of its objects.
bool requireCppClass(PyTypeObject *type)
{
    if (!py::detail::all_type_info(type).empty())
        return true;
    PyErr_Format(PyExc_TypeError, "%.100s cannot be instantiated", type->tp_name);
    return false;
}

PyObject *makeGuarded(PyTypeObject *type, PyObject *arguments, PyObject *keywords)
{
    return requireCppClass(type) ? makeObjectOfPybind(type, arguments, keywords) : nullptr;
}

PyObject *callGuarded(PyObject *type, PyObject *arguments, PyObject *keywords)
{
    return requireCppClass(reinterpret_cast<PyTypeObject *>(type))
        ? callClassOfPybind(type, arguments, keywords)
        : nullptr;
}

/// Guards the class that all classes of pybind11 derive from, and their metaclass. They are shared
/// with other modules of pybind11.
void guardPybind()
{
    auto &internals = py::detail::get_internals();
    auto *base = reinterpret_cast<PyTypeObject *>(internals.instance_base);
    auto *metaclass = internals.default_metaclass;
    makeObjectOfPybind = std::exchange(base->tp_new, makeGuarded);
    callClassOfPybind = std::exchange(metaclass->tp_call, callGuarded);
    PyType_Modified(base);
    PyType_Modified(metaclass);
}

/// Returns what pybind11 knows of the C++ class, which lives as long as the process.
const py::detail::type_info *packageInfo()
{
    static const py::detail::type_info *const info = py::detail::get_type_info(typeid(Package));
    return info;
}

/// Makes an object of a Python class without calling its `__init__`.
py::object makeObject(PyTypeObject *type, const ClassBinding &itsClass,
                      std::unique_ptr<PackageBase> package)
{
    const py::detail::type_info *info = packageInfo();
    auto made = py::reinterpret_steal<py::object>(py::detail::make_new_instance(type));
    auto *instance = reinterpret_cast<py::detail::instance *>(made.ptr());
    value_and_holder holder = instance->get_value_and_holder(info);
    holder.value_ptr() = new Package(&itsClass, std::move(package));
    info->init_instance(instance, nullptr);
    return made;
}

py::object makeObject(const py::type &type, std::unique_ptr<PackageBase> package)
{
    return makeObject(reinterpret_cast<PyTypeObject *>(type.ptr()), bindingOf(type),
                      std::move(package));
}

void initialise(value_and_holder &holder, const py::kwargs &fields)
{
    const ClassBinding &itsClass = bindingOf(Py_TYPE(reinterpret_cast<PyObject *>(holder.inst)));
    std::unique_ptr<PackageBase> package = itsClass.row->create();
    setFields(itsClass, *package, fields);
    holder.value_ptr() = new Package(&itsClass, std::move(package));
}

py::object restore(const py::type &type, const py::dict &fields)
{
    const ClassBinding &itsClass = bindingOf(type);
    std::unique_ptr<PackageBase> package = itsClass.row->create();
    setFields(itsClass, *package, fields);
    return makeObject(type, std::move(package));
}

py::tuple reduce(const py::object &self)
{
    const auto &package = self.cast<const Package &>();
    const py::object restoring = pythonName("_packages", "restore");
    const py::tuple arguments =
        py::make_tuple(py::type::of(self), changedFields(package.itsClass(), *package));
    const py::object attributes = py::getattr(self, "__dict__", py::none());
    return py::make_tuple(restoring, arguments, attributes);
}

std::string represent(const py::object &self)
{
    const auto &package = self.cast<const Package &>();
    std::string text;
    for (const auto &[name, value] : changedFields(package.itsClass(), *package)) {
        text += text.empty() ? "" : ", ";
        text += name.cast<std::string>() + "=";
        const bool isCode = py::hasattr(value, "name");
        text += isCode ? std::string(Py_TYPE(value.ptr())->tp_name) + "."
                + value.attr("name").cast<std::string>()
                       : py::repr(value).cast<std::string>();
    }
    return py::type::of(self).attr("__name__").cast<std::string>() + "(" + text + ")";
}

bool isEqual(const Package &first, const Package &second)
{
    const ClassBinding &itsClass = first.itsClass();
    if (&itsClass != &second.itsClass())
        return false;
    const auto same = [&](const FieldBinding &binding) { return isSame(binding, *first, *second); };
    return std::all_of(itsClass.fields.begin(), itsClass.fields.end(), same);
}

py::object classMethod(const py::cpp_function &function)
{
    return py::reinterpret_steal<py::object>(PyClassMethod_New(function.ptr()));
}

// Forms.

py::object encode(const Package &package, const Encoding &encoding)
{
    QByteArray encoded;
    Verdict verdict;
    const qint64 size = package->data().size();
    constexpr qint64 Long = 16384;
    if (size < Long) {
        verdict = encodePackage(*package, encoding, &encoded);
    } else {
        // Other threads may change the package meanwhile.
        const auto copy = copyOf(package.itsClass(), *package);
        verdict = withoutLock(size, [&] { return encodePackage(*copy, encoding, &encoded); });
    }
    requireMemory(verdict);
    requireAccepted(verdict);
    if (encoding.form == Form::Text)
        return py::reinterpret_steal<py::object>(
            PyUnicode_DecodeUTF8(encoded.constData(), encoded.size(), "replace"));
    return toPython(encoded);
}

py::object decode(const py::type &type, const Encoding &encoding, py::handle message, bool checked,
                  py::handle request, py::handle announcedData)
{
    const ClassBinding &itsClass = bindingOf(type);
    const QByteArray bytes =
        encoding.form == Form::Text ? messageFrom(message) : bytesFrom(message);
    const CheckOptions options = checkOptionsFrom(request, announcedData);
    std::unique_ptr<PackageBase> package;
    const Verdict verdict = withoutLock(bytes.size(), [&] {
        if (checked) {
            return decodeMessage(bytes, {itsClass.row->id, encoding.form, encoding.direction},
                                 &package, options);
        }
        package = itsClass.row->create();
        return decodePackage(*package, encoding, bytes, nullptr, options.announcedData);
    });
    requireMemory(verdict);
    requireAccepted(verdict);
    return makeObject(type, std::move(package));
}

constexpr struct
{
    const char *name;
    Form form;
    Direction direction;
    const char *text;
} Forms[] = {
    {"frame", Form::Frame, Direction::Request, "the byte frame of a request"},
    {"reply_frame", Form::Frame, Direction::Reply, "the byte frame of a reply"},
    {"record", Form::Text, Direction::Request, "the text record of a request"},
    {"reply_record", Form::Text, Direction::Reply, "the text record of a reply"},
    {"linux_frame", Form::Linux, Direction::Request, "the Linux frame of a data request"},
    {"linux_reply_frame", Form::Linux, Direction::Reply, "the Linux frame of a data reply"},
};

constexpr char EncoderNotes[] = R"(.

Raises RefusedError for a form that the class does not have.)";

constexpr char FullNotes[] = R"(

full -- whether to make a full reply, with the request inside, or a short one)";

constexpr char DecoderNotes[] = R"(.

message -- the bytes, or the text of a record
checked -- whether to refuse what no encoder writes; otherwise the lenient decoder of the
    protocol reads the message, which guesses where fields are missing
request -- for a checked reply: the encoded request that it must answer
announced_data -- the most bytes of data that the message may announce; without a limit, a
    decoder that is not checked allocates up to 256 MiB for what a message announces

Raises RefusedError, whose verdict says why and where.)";

void defineEncoder(py::class_<Package> &base, const std::string &name, const Encoding &encoding,
                   const std::string &text)
{
    if (encoding.form != Form::Frame || encoding.direction != Direction::Reply) {
        base.def(
            name.c_str(), [encoding](const Package &self) { return encode(self, encoding); },
            text.c_str());
        return;
    }
    base.def(
        name.c_str(),
        [encoding](const Package &self, bool full) {
            const ReplySize size = full ? ReplySize::Full : ReplySize::Short;
            return encode(self, {encoding.form, encoding.direction, size});
        },
        py::arg("full") = false, (text + FullNotes).c_str());
}

void defineDecoder(py::class_<Package> &base, const std::string &name, const Encoding &encoding,
                   const std::string &text)
{
    const py::cpp_function decoding(
        [encoding](const py::type &type, py::handle message, bool checked, py::handle request,
                   py::handle announcedData) {
            return decode(type, encoding, message, checked, request, announcedData);
        },
        py::name(name.c_str()), py::arg("cls"), py::arg("message"), py::kw_only(),
        py::arg("checked") = true, py::arg("request") = py::none(),
        py::arg("announced_data") = py::none(), text.c_str());
    base.attr(name.c_str()) = classMethod(decoding);
}

void defineForms(py::class_<Package> &base)
{
    for (const auto &row : Forms) {
        const Encoding encoding{row.form, row.direction, ReplySize::Short};
        const std::string text = row.text;
        defineEncoder(base, std::string("to_") + row.name, encoding,
                      "Return " + text + EncoderNotes);
        defineDecoder(base, std::string("from_") + row.name, encoding,
                      "Decode " + text + DecoderNotes);
    }
}

// JSON.

py::str toJson(const Package &package)
{
    return toText(packageToJson(*package));
}

constexpr char FromJsonNotes[] = R"(Make a package from JSON.

json -- the text. Missing fields keep their defaults. A base class makes a package of the class
    that the text names.

Raises ValueError for what is not JSON, for unknown fields, and for values out of range.)";

/// Makes a package of the class of @p type, or of a class that derives from it.
py::object fromJson(const py::type &type, py::handle json)
{
    const ClassBinding &itsClass = bindingOf(type);
    const QJsonObject object = objectFrom(json);
    const QString name = object.value(QLatin1String("class")).toString(itsClass.row->name);
    const PackageClass *named = packageClass(name);
    if (!named)
        failValue(QStringLiteral("class: there is no class \"%1\"").arg(name));
    const ClassBinding &made = bindingOf(named->id);
    if (!made.isA(itsClass))
        failValue(QStringLiteral("class: %1 is not a %2").arg(name, itsClass.row->name));
    std::unique_ptr<PackageBase> package = named->create();
    const QString fault = packageFromJson(object, *package);
    if (!fault.isEmpty())
        failValue(fault);
    const bool isExact = &made == &itsClass;
    return isExact ? makeObject(type, std::move(package)) : toPython(std::move(package));
}

// Combinations.

std::string encodeCombinationOf(const py::list &items)
{
    std::vector<PackageBase *> packages;
    for (const py::handle &item : items)
        packages.push_back(&*item.cast<const Package &>());
    QByteArray record;
    requireAccepted(encodeCombination(packages, &record));
    return record.toStdString();
}

py::list listOf(std::vector<std::unique_ptr<PackageBase>> packages)
{
    py::list made;
    for (auto &package : packages)
        made.append(toPython(std::move(package)));
    return made;
}

py::list decodeCombinationOf(py::handle message, bool checked, py::handle announcedData)
{
    const QByteArray record = messageFrom(message);
    std::vector<std::unique_ptr<PackageBase>> packages;
    if (checked) {
        requireAccepted(
            decodeCombination(record, &packages, checkOptionsFrom(py::none(), announcedData)));
        return listOf(std::move(packages));
    }
    PackageRequestCombination combination;
    const bool isRead = combination.unCombinationPackageRequest(textFromUtf8(record));
    for (PackageBase *package : combination.packageList())
        packages.emplace_back(package);
    if (!isRead) {
        const MessageShape shape{ClassId::PackageRequestCombination, Form::Text,
                                 Direction::Request};
        requireAccepted(check(record, shape));
        throw std::bad_alloc();
    }
    return listOf(std::move(packages));
}

// Classes.

/// Returns a name in Python's spelling: replyDataLength becomes reply_data_length.
std::string pythonNameOf(const QString &name)
{
    std::string spelled;
    bool wasUpper = false;
    for (const char letter : name.toStdString()) {
        const bool isUpper = std::isupper(static_cast<unsigned char>(letter)) != 0;
        if (isUpper && !wasUpper && !spelled.empty())
            spelled += '_';
        spelled += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        wasUpper = isUpper;
    }
    return spelled;
}

/// Returns the package of an object if it is of a class. Python calls the functions of a property
/// with any object.
PackageBase &packageOf(const Package &self, const ClassBinding &itsClass)
{
    if (!self.itsClass().isA(itsClass))
        throw py::type_error("the package is not a " + itsClass.row->name.toStdString());
    return *self;
}

py::object makeProperty(const ClassBinding &itsClass, const FieldBinding &binding)
{
    const py::cpp_function getter(
        [&itsClass, &binding](const Package &self) {
            return valueOf(binding, packageOf(self, itsClass));
        },
        py::name(binding.name.c_str()));
    const py::cpp_function setter(
        [&itsClass, &binding](const Package &self, py::handle value) {
            setValue(binding, packageOf(self, itsClass), value);
        },
        py::name(binding.name.c_str()));
    const auto type =
        py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject *>(&PyProperty_Type));
    return type(getter, setter);
}

/// Returns the most derived of the classes that a class derives from; null for the first one.
const ClassBinding *baseOf(const ClassBinding &itsClass)
{
    const ClassBinding *base = nullptr;
    for (const auto &candidate : bindings) {
        if (candidate.get() == &itsClass || !itsClass.isA(*candidate))
            continue;
        if (!base || candidate->isA(*base))
            base = candidate.get();
    }
    return base;
}

void defineClass(py::module_ &module, const py::object &root, ClassBinding *binding)
{
    py::dict members;
    members["__slots__"] = py::tuple();
    members["__module__"] = "korvinpackage";
    members["class_name"] = toPython(binding->row->name);
    py::list names;
    for (const FieldBinding &field : binding->fields) {
        members[py::handle(field.key)] = makeProperty(*binding, field);
        names.append(py::handle(field.key));
    }
    members["field_names"] = py::tuple(names);
    const ClassBinding *base = baseOf(*binding);
    const py::object parent =
        base ? py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject *>(base->type)) : root;
    const py::object type =
        py::type::of(root)(toPython(binding->row->name), py::make_tuple(parent), members);
    module.attr(binding->row->name.toStdString().c_str()) = type;
    binding->type = reinterpret_cast<PyTypeObject *>(py::object(type).release().ptr());
}

void makeBindings()
{
    const py::object membersOf = pythonName("_enums", "members_of");
    for (const PackageClass &row : packageClasses()) {
        auto binding = std::make_unique<ClassBinding>();
        binding->row = &row;
        binding->defaults = row.create();
        for (const PackageField &field : row.fields) {
            FieldBinding made{&field, pythonNameOf(field.name), {}, nullptr};
            made.key = PyUnicode_InternFromString(made.name.c_str());
            if (field.valueType == ValueType::Code)
                made.members = membersOf(toPython(field.type)).release();
            binding->fields.push_back(std::move(made));
        }
        bindings.push_back(std::move(binding));
    }
}

/// Describes the classes and their fields: name, type, range, the name in JSON, and what it is for.
py::list describeClasses()
{
    py::list classes;
    for (const auto &binding : bindings) {
        py::list fields;
        for (const FieldBinding &field : binding->fields) {
            fields.append(py::make_tuple(field.name, static_cast<int>(field.field->valueType),
                                         toPython(field.field->type), toPython(field.field->name),
                                         toPython(descriptionOf(field.field->name))));
        }
        classes.append(py::make_tuple(py::handle(reinterpret_cast<PyObject *>(binding->type)),
                                      toPython(binding->row->combinationType), fields,
                                      toPython(descriptionOf(binding->row->id))));
    }
    return classes;
}

} // namespace

py::object toPython(std::unique_ptr<PackageBase> package)
{
    const ClassBinding &itsClass = bindingOf(classOf(*package).id);
    return makeObject(itsClass.type, itsClass, std::move(package));
}

void callWith(const py::object &function, PackageBase &package)
{
    const ClassBinding &itsClass = bindingOf(classOf(package).id);
    const py::object copy = makeObject(itsClass.type, itsClass, copyOf(itsClass, package));
    function(copy);
    setAllFields(itsClass, package, *copy.cast<const Package &>());
}

void definePackages(py::module_ &module)
{
    py::options options;
    options.disable_function_signatures();
    guardPybind();
    makeBindings();
    py::class_<Package> base(module, "Package");
    base.def("__init__", &initialise, py::detail::is_new_style_constructor());
    base.def("__eq__", &isEqual, py::is_operator());
    base.def("__repr__", &represent);
    base.def("__reduce__", &reduce);
    base.def("to_json", &toJson, "Return all fields as JSON.");
    base.def_property_readonly(
        "is_success", [](const Package &self) { return (*self).isPackageSuccess(); },
        "Whether both results are OK and the acknowledge code is 0.");
    base.attr("from_json") = classMethod(py::cpp_function(
        &fromJson, py::name("from_json"), py::arg("cls"), py::arg("json"), FromJsonNotes));
    defineForms(base);
    for (const auto &binding : bindings)
        defineClass(module, base, binding.get());
    module.def("restore", &restore);
    module.def("describe_classes", &describeClasses);
    module.def("encode_combination", &encodeCombinationOf);
    module.def("decode_combination", &decodeCombinationOf);
}

} // namespace KorvinPython
