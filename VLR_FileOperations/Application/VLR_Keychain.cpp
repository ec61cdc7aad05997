#include "VLR_Keychain.h"

#include "VLR_BoundedWait.h"
#include "VLR_Document.h"
#include "VLR_DocumentIdentity.h"
#include "VLR_System.h"

#include <libsecret/secret.h>

namespace {

constexpr char kSchemaName[] = "com.tarquen.Vellorin.MasterPassword";
constexpr char kDocument[] = "document"; // the attribute: the document's identity
constexpr char kContentType[] = "text/plain";

using SecretSchemaPointer = std::unique_ptr<SecretSchema, GLibRelease<secret_schema_unref>>;
using SecretValuePointer = std::unique_ptr<SecretValue, GLibRelease<secret_value_unref>>;

struct ReleaseItems {
    void operator()(GList* items) const { g_list_free_full(items, g_object_unref); }
};
using SecretItems = std::unique_ptr<GList, ReleaseItems>;

VLR_Keychain::TimeOuts gTimeOuts;

/// The service as seen by one operation on one document's entry. Nothing of it stays behind: the next operation looks
/// for the bus and the service anew.
class DocumentEntry {
public:
    DocumentEntry(const std::string& identity, std::chrono::milliseconds timeOut)
        : wait(timeOut)
        , schema(secret_schema_new(kSchemaName, SECRET_SCHEMA_NONE, kDocument, SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr))
        , attributes(secret_attributes_build(schema.get(), kDocument, identity.c_str(), nullptr))
        , service(Open())
    {
    }

    SecretValuePointer Find();
    bool Store(SecretValue* value, const char* label);
    bool Remove();

private:
    GLibObject<SecretService> Open();

    VLR_BoundedWait wait;
    SecretSchemaPointer schema;
    GLibTable attributes;
    GLibObject<SecretService> service; // null if there is none
};

GLibObject<SecretService> DocumentEntry::Open()
{
    g_bus_get(G_BUS_TYPE_SESSION, wait.Cancellable(), VLR_BoundedWait::Done, &wait);
    const GLibObject<GDBusConnection> bus(g_bus_get_finish(wait.Result(), nullptr));
    if (!bus)
        return nullptr;
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE); // a bus that ends must not end a program with an open vault
    secret_service_open(
        SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, wait.Cancellable(), VLR_BoundedWait::Done, &wait);
    return GLibObject<SecretService>(secret_service_open_finish(wait.Result(), nullptr));
}

/// Null for none, and for one in a locked keychain.
SecretValuePointer DocumentEntry::Find()
{
    if (!service)
        return nullptr;
    secret_service_search(service.get(), schema.get(), attributes.get(), SECRET_SEARCH_LOAD_SECRETS, wait.Cancellable(),
        VLR_BoundedWait::Done, &wait);
    const SecretItems items(secret_service_search_finish(service.get(), wait.Result(), nullptr));
    return SecretValuePointer(items ? secret_item_get_secret(SECRET_ITEM(items->data)) : nullptr);
}

bool DocumentEntry::Store(SecretValue* value, const char* label)
{
    if (!service)
        return false;
    secret_service_store(service.get(), schema.get(), attributes.get(), SECRET_COLLECTION_DEFAULT, label, value,
        wait.Cancellable(), VLR_BoundedWait::Done, &wait);
    return secret_service_store_finish(service.get(), wait.Result(), nullptr);
}

bool DocumentEntry::Remove()
{
    if (!service)
        return false;
    secret_service_clear(
        service.get(), schema.get(), attributes.get(), wait.Cancellable(), VLR_BoundedWait::Done, &wait);
    return secret_service_clear_finish(service.get(), wait.Result(), nullptr);
}

const char* BytesOf(const VLR_MemoryBlock& block)
{
    return block.IsEmpty() ? "" : reinterpret_cast<const char*>(block.Bytes());
}

} // namespace

bool VLR_System::KeychainPassword(VLR_String& password, VLR_Document* document)
{
    const std::optional<std::string> identity = VLR_DocumentIdentity(document);
    if (!identity)
        return false;
    const SecretValuePointer value = DocumentEntry(*identity, gTimeOuts.lookUp).Find();
    if (!value)
        return false;
    std::size_t length = 0;
    const char* const text = secret_value_get(value.get(), &length);
    password.Resize(0);
    password.Append(text, static_cast<uint32_t>(length));
    return true;
}

bool VLR_Keychain::StorePassword(const VLR_Document& document, const VLR_String& password, const std::string& label)
{
    const std::optional<std::string> identity = VLR_DocumentIdentity(&document);
    if (!identity)
        return false;
    const SecretValuePointer value(
        secret_value_new(BytesOf(password), static_cast<gssize>(password.Length()), kContentType));
    const GLibText validLabel(g_utf8_make_valid(label.data(), static_cast<gssize>(label.size())));
    return DocumentEntry(*identity, gTimeOuts.change).Store(value.get(), validLabel.get());
}

bool VLR_Keychain::ForgetPassword(const VLR_Document& document)
{
    const std::optional<std::string> identity = VLR_DocumentIdentity(&document);
    return identity && DocumentEntry(*identity, gTimeOuts.change).Remove();
}

void VLR_Keychain::SetTimeOuts(const TimeOuts& timeOuts)
{
    gTimeOuts = timeOuts;
}
