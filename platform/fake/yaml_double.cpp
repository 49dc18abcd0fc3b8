// libyaml as it is, but for the failures that the test sets.
#include <yaml.h>

#include <cstring>

#include "platform/fake/call.h"

using OwnerlinkFake::detail::Call;

namespace {

yaml_node_t* Finish(Call& call, yaml_node_t* node)
{
    call.Finish(node == nullptr ? "null" : "node");
    return node;
}

}  // namespace

extern "C" {

int OwnerlinkFakeYamlParserInitialize(yaml_parser_t* parser)
{
    Call call("yaml_parser_initialize", "");
    if (call.MustFail()) {
        std::memset(parser, 0, sizeof(*parser));
        return static_cast<int>(call.Return(0));
    }
    return static_cast<int>(call.Return(yaml_parser_initialize(parser)));
}

int OwnerlinkFakeYamlParserLoad(yaml_parser_t* parser, yaml_document_t* document)
{
    Call call("yaml_parser_load", "");
    if (call.MustFail()) {
        std::memset(document, 0, sizeof(*document));
        return static_cast<int>(call.Return(0));
    }
    return static_cast<int>(call.Return(yaml_parser_load(parser, document)));
}

void OwnerlinkFakeYamlParserDelete(yaml_parser_t* parser)
{
    Call call("yaml_parser_delete", "");
    yaml_parser_delete(parser);
    call.Finish("");
}

yaml_node_t* OwnerlinkFakeYamlDocumentGetRootNode(yaml_document_t* document)
{
    Call call("yaml_document_get_root_node", "");
    return Finish(call, call.MustFail() ? nullptr : yaml_document_get_root_node(document));
}

yaml_node_t* OwnerlinkFakeYamlDocumentGetNode(yaml_document_t* document, int index)
{
    Call call("yaml_document_get_node", std::to_string(index));
    return Finish(call, call.MustFail() ? nullptr : yaml_document_get_node(document, index));
}

void OwnerlinkFakeYamlDocumentDelete(yaml_document_t* document)
{
    Call call("yaml_document_delete", "");
    yaml_document_delete(document);
    call.Finish("");
}

}  // extern "C"
