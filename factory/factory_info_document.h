// The factory information document as bytes: pure functions, which log as the store does.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "factory/factory_info.h"

// True when every key can stand in a document: the name a valid element name, the value UTF-8 text.
bool factory_info_storable(const std::vector<FactoryKey>& keys);

// Applies the keys in order to a document (null: a new one) and puts the new document into `out`.
FactoryInfoStatus factory_info_update(const std::string* document, const std::vector<FactoryKey>& keys,
                                      std::string* out);

// Appends to `found`, for each requested name in order, every record of that name, until the next one would make the
// records exceed `room` bytes in a response, which is kInfoIncomplete. `path` names the document in log lines.
FactoryInfoStatus factory_info_find(const std::string& document, const char* path,
                                    const std::vector<FactoryKey>& requested, size_t room,
                                    std::vector<FactoryKey>* found);

// Calls `each` with the name and the text of every record; logs what is wrong with a document under `name`.
void factory_info_for_each(const std::string& document, const char* path, const char* name,
                           const std::function<void(const char* key, const char* value)>& each);
