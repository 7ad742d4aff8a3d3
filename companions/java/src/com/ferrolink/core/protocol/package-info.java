/**
 * The bytes that commands and replies consist of. For the use of {@code com.ferrolink} and {@code
 * com.ferrolink.core.receiver}; programs use {@code com.ferrolink.Ferrolink}.
 */
package com.ferrolink.core.protocol;
