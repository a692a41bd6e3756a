// Validates a bill of materials against the official CycloneDX 1.5 JSON schema, with the
// standard's own library. Exit status 0 when valid.
const fs = require('fs');
const { Validation } = require('@cyclonedx/cyclonedx-library');

new Validation.JsonStrictValidator('1.5')
    .validate(fs.readFileSync(process.argv[2], 'utf8'))
    .then((error) => {
        if (error) {
            console.error(JSON.stringify(error, null, 1));
            process.exit(1);
        }
    })
    .catch((error) => {
        console.error(error);
        process.exit(2);
    });
