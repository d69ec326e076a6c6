// Lints the runtime's TypeScript; layout is prettier's job.
import js from '@eslint/js';
import { defineConfig } from 'eslint/config';
import tseslint from 'typescript-eslint';

export default defineConfig(
    { ignores: ['dist/', 'node_modules/'] },
    js.configs.recommended,
    tseslint.configs.recommended,
    {
        rules: {
            // A variable that a callback reads before its one assignment cannot be a const.
            'prefer-const': ['error', { ignoreReadBeforeAssign: true }],
        },
    },
    {
        // The tests read the JSON bodies of requests loosely; their assertions check the shape.
        files: ['test/**/*.ts'],
        rules: { '@typescript-eslint/no-explicit-any': 'off' },
    },
);
